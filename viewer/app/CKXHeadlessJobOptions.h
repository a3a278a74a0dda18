// The command-line options of the headless main job: what to do with the "3D Animation" tool
// without anybody at the screen. Declared on the viewer's parser and read back after parsing,
// so the viewer's own option handling stays in one place.
#ifndef CKXHEADLESSJOBOPTIONS_H
#define CKXHEADLESSJOBOPTIONS_H

#include <QCommandLineOption>
#include <QString>
#include <QStringList>

class QCommandLineParser;

class CKXHeadlessJobOptions
{
public:
    CKXHeadlessJobOptions();

    void declare(QCommandLineParser& parser) const;
    // False with strError for values that are wrong whatever the dialog says (ranges of the
    // dialog's own controls are checked when the job runs).
    bool read(const QCommandLineParser& parser, QString& strError);
    // Any job option given: the viewer runs the job and quits.
    bool isRequested() const;

    int m_nSequence = 0;       // --sequence N, 1-based; 0: the sequence active at start
    QStringList m_listPresets; // --preset TEXT, in the order given
    QString m_strLoad;         // --load FILE.vkf
    int m_nDuration = -1;      // --duration SECONDS; -1: the dialog's value
    int m_nFrameFactor = -1;   // --frame-factor N; -1: the dialog's value
    bool m_bPlay = false;      // --play
    QString m_strRecord;       // --record FILE (mp4, mov or mpg)
    QString m_strSave;         // --save FILE.vkf

private:
    QCommandLineOption m_optSequence;
    QCommandLineOption m_optPreset;
    QCommandLineOption m_optLoad;
    QCommandLineOption m_optDuration;
    QCommandLineOption m_optFrameFactor;
    QCommandLineOption m_optPlay;
    QCommandLineOption m_optRecord;
    QCommandLineOption m_optSave;
};

#endif // CKXHEADLESSJOBOPTIONS_H
