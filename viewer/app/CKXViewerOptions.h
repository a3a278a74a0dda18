// The command line of kx3dviewer. Each option is one member here; a new option is declared in
// the constructor and read in parse(), so the application's main() stays a plain sequence.
#ifndef CKXVIEWEROPTIONS_H
#define CKXVIEWEROPTIONS_H

#include "CKXHeadlessJobOptions.h"
#include "CKXSceneFile.h"

#include <QCommandLineParser>
#include <QList>
#include <QSize>
#include <QString>

class CKXViewerOptions
{
public:
    CKXViewerOptions();

    // Reads the arguments (the program name first, as QCoreApplication::arguments() gives
    // them). False with errorText() for bad input; --help and --version print (they need a
    // QCoreApplication) and set exitRequested() instead.
    bool parse(const QStringList& listArguments);
    QString errorText() const { return m_strError; }
    bool exitRequested() const { return m_bExitRequested; }

    // A display is needed for everything but --help, --version and --export-scene.
    static bool wantsOnlyText(int argc, char** argv);
    // One --open argument: "[ROLE[/NAME]=]FILE", ROLE one of subject, organ, volume, source.
    // Text before a "=" that is not a role belongs to the file name.
    static bool parseOpenArgument(const QString& strArgument, SKXOpenRequest& request,
                                  QString& strError);

    QString m_strPluginDir; // --plugins DIR; empty: KX_PLUGIN_PATH or "plugins" next to the program
    bool m_bHeadless = false;    // --headless: automation mode, nothing waits for a user
    QString m_strScreenshot;     // --screenshot FILE: a PNG of the main window, then quit
    QSize m_size;                // --size WxH: the main window's size; invalid: the default
    int m_nSettleMs = 1500;      // --settle MS: how long the window settles before the screenshot
    CKXHeadlessJobOptions m_job; // --load, --preset, --record ...: the headless main job
    QList<SKXOpenRequest> m_listOpen; // --open: one dataset of these, in place of the samples
    QString m_strExportScene;         // --export-scene DIR: write the sample as a scene, quit

private:
    QCommandLineParser m_parser;
    QCommandLineOption m_optPlugins;
    QCommandLineOption m_optHeadless;
    QCommandLineOption m_optScreenshot;
    QCommandLineOption m_optSize;
    QCommandLineOption m_optSettle;
    QCommandLineOption m_optOpen;
    QCommandLineOption m_optExportScene;
    QString m_strError;
    bool m_bExitRequested = false;
};

#endif // CKXVIEWEROPTIONS_H
