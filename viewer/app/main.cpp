// kx3dviewer: the reference 3D viewer that hosts the tool plug-ins.
#include "CKXGLView.h"
#include "CKXHeadlessJob.h"
#include "CKXMainWindow.h"
#include "CKXPluginManager.h"
#include "CKXUtilityFns.h"
#include "CKXViewerOptions.h"
#include "KXAutomation.h"
#include "KXLog.h"
#include "KXSampleExport.h"
#include "KXVirtualDisplay.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QImageWriter>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
const char* const kXvfbMarker = "KX_VIEWER_UNDER_XVFB";

bool hasDisplay()
{
    const QByteArray baPlatform = qgetenv("QT_QPA_PLATFORM");
    if (!baPlatform.isEmpty() && !baPlatform.startsWith("xcb"))
    {
        return true; // the user chose another platform; let Qt report what it can do
    }
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// Without a display the viewer runs itself under a virtual X server with Mesa's software
// OpenGL, so headless jobs and screenshots work on build machines. Returns only on failure.
int runUnderXvfb(int argc, char** argv)
{
    if (!qEnvironmentVariableIsEmpty(kXvfbMarker))
    {
        std::fprintf(stderr, "kx3dviewer: no display, even under with-xvfb.\n");
        return 1;
    }
    setenv(kXvfbMarker, "1", 1);
    kxExecUnderVirtualDisplay(argc, argv);
    std::fprintf(stderr,
                 "kx3dviewer: no display (DISPLAY is not set) and with-xvfb could not be started: "
                 "%s. It belongs beside kx3dviewer (the build copies it there) and needs the xvfb "
                 "package; or run under a display.\n",
                 std::strerror(errno));
    return 1;
}

// The main window with the 3D views' own framebuffers drawn over their places, so the picture
// is the rendered scene whatever the window system composes.
QImage grabMainWindow(CKXMainWindow& window)
{
    QImage image = window.grab().toImage().convertToFormat(QImage::Format_RGB32);
    QPainter painter(&image);
    for (CKXGLView* pView : window.findChildren<CKXGLView*>())
    {
        if (!pView->isVisible())
        {
            continue;
        }
        const QImage frame = pView->grabFramebuffer();
        if (!frame.isNull())
        {
            // A view of a fixed size larger than its window scrolls: only its visible part is
            // drawn, not over the widgets around it.
            const QPoint origin = pView->mapTo(&window, QPoint(0, 0));
            painter.setClipRegion(pView->visibleRegion().translated(origin));
            painter.drawImage(QRect(origin, pView->size()), frame);
        }
    }
    return image;
}

int saveScreenshot(CKXMainWindow& window, const QString& strFile)
{
    const QFileInfo info(strFile);
    if (!info.absoluteDir().exists() && !QDir().mkpath(info.absolutePath()))
    {
        std::fprintf(stderr, "kx3dviewer: cannot create the folder of \"%s\".\n",
                     qPrintable(strFile));
        return 1;
    }
    QImageWriter writer(strFile, "png");
    if (!writer.write(grabMainWindow(window)))
    {
        std::fprintf(stderr, "kx3dviewer: cannot write the screenshot \"%s\": %s\n",
                     qPrintable(strFile), qPrintable(writer.errorString()));
        return 1;
    }
    std::fprintf(stderr, "kx3dviewer: screenshot written to %s\n", qPrintable(strFile));
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    if (!CKXViewerOptions::wantsOnlyText(argc, argv) && !hasDisplay())
    {
        return runUnderXvfb(argc, argv);
    }
    if (CKXViewerOptions::wantsOnlyText(argc, argv))
    {
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("kx3dviewer"));
        QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));
        CKXViewerOptions options;
        if (!options.parse(QCoreApplication::arguments()))
        {
            std::fprintf(stderr, "kx3dviewer: %s\n", qPrintable(options.errorText()));
            return 2;
        }
        if (!options.exitRequested() && !options.m_strExportScene.isEmpty())
        {
            QString strError;
            QString strScene;
            if (!KXSampleExport::exportScene(options.m_strExportScene, strScene, strError))
            {
                std::fprintf(stderr, "kx3dviewer: error: %s\n", qPrintable(strError));
                return 1;
            }
            std::printf("kx3dviewer: the sample subject is in %s\n", qPrintable(strScene));
        }
        return 0;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kx3dviewer"));
    QApplication::setApplicationDisplayName(CKXUtilityFns::getAppName());
    QApplication::setApplicationVersion(QStringLiteral("1.0"));

    CKXViewerOptions options;
    if (!options.parse(QCoreApplication::arguments()))
    {
        std::fprintf(stderr, "kx3dviewer: %s Try --help.\n", qPrintable(options.errorText()));
        return 2;
    }
    if (options.exitRequested())
    {
        return 0;
    }
    if (options.m_bHeadless)
    {
        CKXAutomation::setEnabled(true);
        CKXAutomation::setEchoToStderr(true);
        CKXLogFile::setEchoToStderr(true);
    }

    CKXMainWindow window;
    QSize size = options.m_size;
    if (!size.isValid())
    {
        const QRect rcScreen = QApplication::primaryScreen()->availableGeometry();
        size = QSize(qMin(1600, rcScreen.width() - 40), qMin(1000, rcScreen.height() - 60));
    }
    window.resize(size);
    window.show();
    if (options.m_listOpen.isEmpty())
    {
        window.openDefaultSequences();
    }
    else
    {
        // A file given on the command line that cannot be read ends the run: a job or a
        // screenshot of something else than what was asked for would only mislead.
        QString strError;
        if (!window.openDataset(options.m_listOpen, strError))
        {
            std::fprintf(stderr, "kx3dviewer: error: %s\n", qPrintable(strError));
            return 1;
        }
        window.tileSequenceWindows();
    }

    CKXPluginManager plugins(&window);
    plugins.loadPlugins(CKXPluginManager::resolvePluginDir(options.m_strPluginDir));

    int nExitCode = 0;
    CKXHeadlessJob job(window, plugins, options.m_job, options.m_size);
    if (options.m_job.isRequested())
    {
        QTimer::singleShot(0, &window,
                           [&]()
                           {
                               nExitCode = job.run();
                               window.close();
                               QApplication::exit(nExitCode);
                           });
    }
    if (!options.m_strScreenshot.isEmpty())
    {
        QTimer::singleShot(options.m_nSettleMs, &window,
                           [&]()
                           {
                               nExitCode = saveScreenshot(window, options.m_strScreenshot);
                               window.close();
                               QApplication::exit(nExitCode);
                           });
    }
    const int nLoopCode = app.exec();
    return nExitCode != 0 ? nExitCode : nLoopCode;
}
