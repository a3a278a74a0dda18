// The headless main job: drives the "3D Animation" tool of a loaded plug-in as a user's clicks
// would, through the dialog's published slots and its controls found by object name, with the
// viewer's automation mode answering the file dialogs and recording the messages. The viewer
// knows the plug-in only through the host interface; no plug-in header is used here.
//
// Order of the steps, whatever the order on the command line: choose the sequence, size its
// 3D view, open the tool, set frame factor and duration, load, run the presets, save, play,
// record. Every step prints one progress line to standard output; the first failure prints
// a message to standard error and ends the job with a nonzero code.
#ifndef CKXHEADLESSJOB_H
#define CKXHEADLESSJOB_H

#include "CKXHeadlessJobOptions.h"

#include <QPointer>
#include <QSize>
#include <QString>
#include <QStringList>

class CKXMainWindow;
class CKXPluginManager;
class CKXSequenceWindowImpl;
class QWidget;

class CKXHeadlessJob
{
public:
    // viewSize: the 3D view's size in pixels; invalid keeps the size the layout gives it.
    CKXHeadlessJob(CKXMainWindow& window, CKXPluginManager& plugins,
                   const CKXHeadlessJobOptions& options, const QSize& viewSize);

    // Runs every step; 0 on success, 1 on the first failure (already reported).
    int run();

private:
    bool chooseSequence();
    bool sizeView();
    bool openTool();
    bool setSpinBox(const char* pszObjectName, const char* pszOption, int nValue);
    bool load();
    bool runPreset(const QString& strPreset);
    bool save();
    bool play();
    bool record();

    // Calls a slot of the dialog as its button would; false when the dialog has no such slot.
    bool clickSlot(const char* pszSlot);
    // Messages shown since the last call, and the new log lines that tell of a failure.
    QStringList takeMessages();
    int keyFrameCount() const;
    bool fail(const QString& strText);
    static void progress(const QString& strText);
    static void settle(int nMilliseconds);

    CKXMainWindow& m_window;
    CKXPluginManager& m_plugins;
    const CKXHeadlessJobOptions& m_options;
    QSize m_viewSize;
    QPointer<CKXSequenceWindowImpl> m_pSequence;
    QPointer<QWidget> m_pDialog;
};

#endif // CKXHEADLESSJOB_H
