#include "KX3DAnimationPlugin.h"

#include "CKXSDataset.h"
#include "CKXSSequenceWindow.h"
#include "KX3DAnimationDlg.h"

#include <QAction>
#include <QApplication>
#include <QMetaType>

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
