#include "KX3DAnimationPlugin.h"

#include "CKXSDataset.h"
#include "CKXSSequenceWindow.h"
#include "KX3DAnimationDlg.h"

#include <QAction>
#include <QApplication>
#include <QMetaType>
#include <QtPlugin>

#include <cstddef>

namespace
{
const QString TOOL_NAME = QStringLiteral("3D Animation");
// The tab whose palette the tool works with; compared without regard to letter case.
const QString VIEW_TAB_NAME = QStringLiteral("3D View");
// pluginMenu() value for which the host wants no action.
constexpr int MENU_WITHOUT_ACTION = 5;
constexpr int DIALOG_WIDTH = 270;
constexpr int DIALOG_HEIGHT = 450;

bool is3DViewTab(const QString& strTabName)
{
    return strTabName.toLower() == VIEW_TAB_NAME.toLower();
}

// The host may connect the notification slots through queued connections, which need the
// pointer argument types registered.
void registerNotificationTypes()
{
    static const bool bRegistered = []
    {
        qRegisterMetaType<CKXSDataset*>("CKXSDataset*");
        qRegisterMetaType<CKXSSequenceDataset*>("CKXSSequenceDataset*");
        return true;
    }();
    Q_UNUSED(bRegistered);
}
} // namespace

// ---------------------------------------------------------------------------------------------
// The plug-in metadata record that QPluginLoader and Qt's tools read from the library: the
// loader's header, then a CBOR map with the IID, the class name and the user data. moc drops a
// MetaData entry whose object is empty, but readers of the user data (qtplugininfo among them)
// refuse a plug-in without one, so the record is built here with MetaData an empty map.
namespace
{
constexpr char PLUGIN_IID[] = KX_TOOL_PLUGIN_IID_PREFIX "kx3danimation";
constexpr char PLUGIN_CLASS_NAME[] = "CKX3DAnimationPlugin";
constexpr char METADATA_MAGIC[] = "QTMETADATA !";
// CBOR keys of the loader's map (IID, class name, user data) and the bytes the record needs.
constexpr unsigned char KEY_IID = 2;
constexpr unsigned char KEY_CLASS_NAME = 3;
constexpr unsigned char KEY_METADATA = 4;
constexpr unsigned char CBOR_MAP_OPEN = 0xbf;  // a map of undetermined length
constexpr unsigned char CBOR_EMPTY_MAP = 0xa0; // a map of no entries
constexpr unsigned char CBOR_BREAK = 0xff;     // ends the open map
constexpr unsigned char CBOR_TEXT = 0x60;      // text string, length in the low bits (< 24)
constexpr unsigned char CBOR_TEXT_1 = 0x78;    // text string, length in the next byte

constexpr std::size_t textItemSize(std::size_t nLength)
{
    return (nLength < 24 ? 1 : 2) + nLength;
}
static_assert(sizeof PLUGIN_IID - 1 < 256 && sizeof PLUGIN_CLASS_NAME - 1 < 256,
              "texts longer than 255 bytes need a longer CBOR length");

constexpr std::size_t METADATA_RECORD_SIZE = (sizeof METADATA_MAGIC - 1) + 4 + 1 + 1 +
                                             textItemSize(sizeof PLUGIN_IID - 1) + 1 +
                                             textItemSize(sizeof PLUGIN_CLASS_NAME - 1) + 2 + 1;

struct SMetaDataRecord
{
    unsigned char bytes[METADATA_RECORD_SIZE];
};

constexpr SMetaDataRecord buildMetaDataRecord()
{
    SMetaDataRecord record{};
    std::size_t n = 0;
    for (std::size_t i = 0; i + 1 < sizeof METADATA_MAGIC; ++i)
    {
        record.bytes[n++] = static_cast<unsigned char>(METADATA_MAGIC[i]);
    }
    record.bytes[n++] = 0; // record format version
    record.bytes[n++] = QT_VERSION_MAJOR;
    record.bytes[n++] = QT_VERSION_MINOR;
    record.bytes[n++] = qPluginArchRequirements();
    record.bytes[n++] = CBOR_MAP_OPEN;
    const auto appendText =
        [&record, &n](unsigned char key, const char* pszText, std::size_t nLength)
    {
        record.bytes[n++] = key;
        if (nLength < 24)
        {
            record.bytes[n++] = static_cast<unsigned char>(CBOR_TEXT | nLength);
        }
        else
        {
            record.bytes[n++] = CBOR_TEXT_1;
            record.bytes[n++] = static_cast<unsigned char>(nLength);
        }
        for (std::size_t i = 0; i < nLength; ++i)
        {
            record.bytes[n++] = static_cast<unsigned char>(pszText[i]);
        }
    };
    appendText(KEY_IID, PLUGIN_IID, sizeof PLUGIN_IID - 1);
    appendText(KEY_CLASS_NAME, PLUGIN_CLASS_NAME, sizeof PLUGIN_CLASS_NAME - 1);
    record.bytes[n++] = KEY_METADATA;
    record.bytes[n++] = CBOR_EMPTY_MAP;
    record.bytes[n++] = CBOR_BREAK;
    return record;
}
} // namespace

QT_PLUGIN_METADATA_SECTION static constexpr SMetaDataRecord s_metaDataRecord =
    buildMetaDataRecord();
// The name the export macro reads.
static constexpr const unsigned char (&qt_pluginMetaData)[METADATA_RECORD_SIZE] =
    s_metaDataRecord.bytes;
QT_MOC_EXPORT_PLUGIN(CKX3DAnimationPlugin, CKX3DAnimationPlugin)

// ---------------------------------------------------------------------------------------------

CKX3DAnimationPlugin::~CKX3DAnimationPlugin()
{
    delete m_pAnimationDlg.data();
}

int CKX3DAnimationPlugin::pluginMenu()
{
    return 0;
}

QAction* CKX3DAnimationPlugin::pluginAction()
{
    if (pluginMenu() == MENU_WITHOUT_ACTION || m_pAction)
    {
        return m_pAction;
    }
    m_pAction = new QAction(TOOL_NAME, this);
    m_pAction->setObjectName(TOOL_NAME);
    return m_pAction;
}

QIcon CKX3DAnimationPlugin::pluginIcon()
{
    return QIcon();
}

QString CKX3DAnimationPlugin::PluginMenuItem()
{
    return TOOL_NAME;
}

QString CKX3DAnimationPlugin::MenuItemBefore()
{
    return QString();
}

void CKX3DAnimationPlugin::init()
{
    registerNotificationTypes();
    // Forget without deleting: a dialog of an earlier run belongs to whoever holds it now.
    m_pAnimationDlg = nullptr;
    m_bVisible = false;
}

void CKX3DAnimationPlugin::show()
{
    if (!m_pAnimationDlg)
    {
        return;
    }
    m_pAnimationDlg->showNormal();
    m_pAnimationDlg->move(0, 70);
    m_pAnimationDlg->activateWindow();
    m_pAnimationDlg->raise();
}

bool CKX3DAnimationPlugin::createObject()
{
    return m_pAnimationDlg ? true : createAnimationDlg();
}

bool CKX3DAnimationPlugin::isVisible()
{
    return m_bVisible;
}

void CKX3DAnimationPlugin::signalAddWidgetToWorkspace(QWidget* pWidget)
{
    emit addWidgetToWorkspace(pWidget);
}

void CKX3DAnimationPlugin::signalUpdateToolPluginValidity(QAction* pAction, bool bValid,
                                                          bool bChecked)
{
    emit updateToolPluginValidity(pAction, bValid, bChecked);
}

bool CKX3DAnimationPlugin::createAnimationDlg()
{
    if (m_pAnimationDlg)
    {
        return true;
    }
    m_pAnimationDlg = new CKX3DAnimationDlg(QApplication::activeWindow());
    if (!m_pAnimationDlg)
    {
        return false;
    }
    signalAddWidgetToWorkspace(m_pAnimationDlg);
    if (!m_pAnimationDlg)
    {
        return false;
    }
    m_pAnimationDlg->setWindowFlags((m_pAnimationDlg->windowFlags() | Qt::CustomizeWindowHint) &
                                    ~Qt::WindowMaximizeButtonHint);
    m_pAnimationDlg->setFixedSize(DIALOG_WIDTH, DIALOG_HEIGHT);
    return true;
}

CKX3DAnimationDlg* CKX3DAnimationPlugin::getAnimationDlg() const
{
    return m_pAnimationDlg;
}

void CKX3DAnimationPlugin::hideDialogIfShowing(bool bExactMinimized)
{
    if (!m_pAnimationDlg)
    {
        return;
    }
    const bool bMinimized = bExactMinimized ? m_pAnimationDlg->windowState() == Qt::WindowMinimized
                                            : m_pAnimationDlg->isMinimized();
    if (m_pAnimationDlg->isVisible() || bMinimized)
    {
        m_pAnimationDlg->hide();
    }
}

void CKX3DAnimationPlugin::onSignalDatasetChanged(CKXSDataset*)
{
    signalUpdateToolPluginValidity(pluginAction(), false, false);
    if (m_pAnimationDlg)
    {
        m_pAnimationDlg->setSequenceWindow(nullptr);
        hideDialogIfShowing(true);
    }
}

void CKX3DAnimationPlugin::onSignalSequenceChanged(CKXSSequenceDataset* pSequence)
{
    CKXSSequenceWindow* pWindow =
        pSequence ? CKXSSequenceWindow::getSequenceWindow(pSequence) : nullptr;
    if (!pWindow)
    {
        return;
    }
    const QString strTabName = pWindow->getCurrentTabName();
    // The dialog follows the current sequence whatever tab it shows.
    if (m_pAnimationDlg)
    {
        m_pAnimationDlg->setSequenceWindow(pWindow);
    }
    if (is3DViewTab(strTabName))
    {
        signalUpdateToolPluginValidity(pluginAction(), true, false);
    }
    else
    {
        signalUpdateToolPluginValidity(pluginAction(), false, false);
        hideDialogIfShowing(false);
    }
}

void CKX3DAnimationPlugin::onSignalDatasetRemoved(CKXSDataset*)
{
}

void CKX3DAnimationPlugin::onSignalSequenceAdded(CKXSSequenceDataset* pSequence)
{
    CKXSSequenceWindow* pWindow =
        pSequence ? CKXSSequenceWindow::getSequenceWindow(pSequence) : nullptr;
    if (pWindow)
    {
        connect(pWindow, &CKXSSequenceWindow::updatePluginPalette, this,
                &CKX3DAnimationPlugin::onSignalUpdatePluginPalette);
    }
}

void CKX3DAnimationPlugin::onSignalSequenceRemoved(CKXSSequenceDataset* pSequence)
{
    if (!m_pAnimationDlg)
    {
        return;
    }
    m_pAnimationDlg->onSequenceRemoved(pSequence);
    if (m_pAnimationDlg && (m_pAnimationDlg->isVisible() || m_pAnimationDlg->isMinimized()))
    {
        m_pAnimationDlg->setWindowState(
            m_pAnimationDlg->windowState() &
            ~(Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen));
        m_pAnimationDlg->hide();
        m_bVisible = true;
    }
}

void CKX3DAnimationPlugin::onSignalROIModified(QString)
{
}

void CKX3DAnimationPlugin::onSignalROIDeleted()
{
}

void CKX3DAnimationPlugin::onSignalupdateROIList()
{
}

void CKX3DAnimationPlugin::onSignalUpdatePluginPalette(QString strPaletteName)
{
    if (is3DViewTab(strPaletteName))
    {
        signalUpdateToolPluginValidity(pluginAction(), true, false);
    }
    else
    {
        signalUpdateToolPluginValidity(pluginAction(), false, false);
        hideDialogIfShowing(true);
    }
}

void CKX3DAnimationPlugin::onSignalPlugin3DViewChanged(bool)
{
    if (!m_pAnimationDlg)
    {
        return;
    }
    // Only a change the dialog did not make itself clears its key frames.
    if (!m_pAnimationDlg->isViewChangedByAnimation())
    {
        m_pAnimationDlg->clearDialogUI();
    }
    if (m_pAnimationDlg)
    {
        m_pAnimationDlg->setViewChangedByAnimation(false);
    }
}
