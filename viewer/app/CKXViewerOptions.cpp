#include "CKXViewerOptions.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <cstdio>
#include <cstring>

CKXViewerOptions::CKXViewerOptions()
    : m_optPlugins(QStringLiteral("plugins"),
                   QStringLiteral("Load tool plug-ins from <dir> (default: $KX_PLUGIN_PATH, else "
                                  "the plugins folder next to the program)."),
                   QStringLiteral("dir")),
      m_optHeadless(QStringLiteral("headless"),
                    QStringLiteral("Automation mode: no dialog waits for a user; messages and "
                                   "progress go to standard error.")),
      m_optScreenshot(QStringLiteral("screenshot"),
                      QStringLiteral("Save a PNG of the main window to <file> after start-up, "
                                     "then quit."),
                      QStringLiteral("file")),
      m_optSize(QStringLiteral("size"),
                QStringLiteral("Main window size, for example 1600x1000; with a job option "
                               "(--load, --preset, --record ...) the 3D "
                               "view's size."),
                QStringLiteral("WxH")),
      m_optSettle(QStringLiteral("settle"),
                  QStringLiteral("Milliseconds to wait before the screenshot (default 1500)."),
                  QStringLiteral("ms")),
      m_optOpen(QStringLiteral("open"),
                QStringLiteral("Open <file> (a mesh, a NIfTI file, a DICOM folder or a scene "
                               "file) instead of the sample subject; repeatable, all files make "
                               "one dataset. \"organ/Liver=liver.stl\" gives a role (subject, "
                               "organ, volume or source) and a name."),
                QStringLiteral("[role[/name]=]file")),
      m_optExportScene(QStringLiteral("export-scene"),
                       QStringLiteral("Write the sample subject as a scene file with its meshes "
                                      "and volumes into <dir>, then quit."),
                       QStringLiteral("dir"))
{
    m_parser.setApplicationDescription(
        QStringLiteral("3D viewer for surface meshes, photon density maps, organs and light "
                       "sources, with tool plug-ins."));
    m_parser.addHelpOption();
    m_parser.addVersionOption();
    m_parser.addOptions({m_optPlugins, m_optHeadless, m_optScreenshot, m_optSize, m_optSettle,
                         m_optOpen, m_optExportScene});
    m_job.declare(m_parser);
}

bool CKXViewerOptions::wantsOnlyText(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const char* psz = argv[i];
        if (!std::strcmp(psz, "-h") || !std::strcmp(psz, "--help") || !std::strcmp(psz, "-v") ||
            !std::strcmp(psz, "--version") || !std::strcmp(psz, "-?") ||
            !std::strcmp(psz, "--export-scene") || !std::strncmp(psz, "--export-scene=", 15))
        {
            return true;
        }
    }
    return false;
}

bool CKXViewerOptions::parse(const QStringList& listArguments)
{
    if (!m_parser.parse(listArguments))
    {
        m_strError = m_parser.errorText();
        return false;
    }
    if (m_parser.isSet(QStringLiteral("help")))
    {
        std::fputs(qPrintable(m_parser.helpText()), stdout);
        m_bExitRequested = true;
        return true;
    }
    if (m_parser.isSet(QStringLiteral("version")))
    {
        std::printf("%s %s\n", qPrintable(QCoreApplication::applicationName()),
                    qPrintable(QCoreApplication::applicationVersion()));
        m_bExitRequested = true;
        return true;
    }
    if (!m_parser.positionalArguments().isEmpty())
    {
        m_strError = QStringLiteral("Unexpected argument \"%1\".")
                         .arg(m_parser.positionalArguments().first());
        return false;
    }

    m_strPluginDir = m_parser.value(m_optPlugins);
    m_bHeadless = m_parser.isSet(m_optHeadless);
    m_strScreenshot = m_parser.value(m_optScreenshot);
    if (m_parser.isSet(m_optScreenshot) && m_strScreenshot.isEmpty())
    {
        m_strError = QStringLiteral("--screenshot needs a file name.");
        return false;
    }
    if (m_parser.isSet(m_optSize))
    {
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("^(\\d{2,5})[xX](\\d{2,5})$"))
                .match(m_parser.value(m_optSize));
        const int nWidth = match.hasMatch() ? match.captured(1).toInt() : 0;
        const int nHeight = match.hasMatch() ? match.captured(2).toInt() : 0;
        if (nWidth < 320 || nHeight < 240 || nWidth > 16384 || nHeight > 16384)
        {
            m_strError = QStringLiteral("--size wants WxH between 320x240 and 16384x16384, not "
                                        "\"%1\".")
                             .arg(m_parser.value(m_optSize));
            return false;
        }
        m_size = QSize(nWidth, nHeight);
    }
    if (m_parser.isSet(m_optSettle))
    {
        bool bOk = false;
        m_nSettleMs = m_parser.value(m_optSettle).toInt(&bOk);
        if (!bOk || m_nSettleMs < 0 || m_nSettleMs > 600000)
        {
            m_strError = QStringLiteral("--settle wants milliseconds from 0 to 600000.");
            return false;
        }
    }
    for (const QString& strOpen : m_parser.values(m_optOpen))
    {
        SKXOpenRequest request;
        if (!parseOpenArgument(strOpen, request, m_strError))
            return false;
        m_listOpen << request;
    }
    m_strExportScene = m_parser.value(m_optExportScene);
    if (m_parser.isSet(m_optExportScene) && m_strExportScene.isEmpty())
    {
        m_strError = QStringLiteral("--export-scene needs a folder.");
        return false;
    }
    return m_job.read(m_parser, m_strError);
}

bool CKXViewerOptions::parseOpenArgument(const QString& strArgument, SKXOpenRequest& request,
                                         QString& strError)
{
    request = SKXOpenRequest();
    request.path = strArgument;
    const int nEquals = strArgument.indexOf(QLatin1Char('='));
    if (nEquals > 0)
    {
        const QString strSpec = strArgument.left(nEquals);
        const int nSlash = strSpec.indexOf(QLatin1Char('/'));
        const EKXDataRole eRole = CKXSceneFile::roleOf(nSlash < 0 ? strSpec : strSpec.left(nSlash));
        if (eRole != EKXDataRole::Automatic)
        {
            request.role = eRole;
            request.name = nSlash < 0 ? QString() : strSpec.mid(nSlash + 1).trimmed();
            request.path = strArgument.mid(nEquals + 1);
        }
    }
    if (request.path.isEmpty())
    {
        strError = QStringLiteral("--open needs a file name, not \"%1\".").arg(strArgument);
        return false;
    }
    return true;
}
