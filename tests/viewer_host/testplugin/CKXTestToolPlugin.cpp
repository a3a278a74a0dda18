#include "CKXTestToolPlugin.h"

#include "CKXSDataset.h"
#include "CKXSSequenceWindow.h"

#include <QAction>
#include <QDialog>

namespace
{
QString sequenceId(const CKXSSequenceDataset* pSequence)
{
    return pSequence ? pSequence->getSequenceID() : QStringLiteral("null");
}
} // namespace

CKXTestToolPlugin::~CKXTestToolPlugin()
{
    delete m_pWindow.data();
}

QAction* CKXTestToolPlugin::pluginAction()
{
    if (!m_pAction)
    {
        m_pAction = new QAction(PluginMenuItem(), this);
    }
    return m_pAction;
}

void CKXTestToolPlugin::init()
{
    record(QStringLiteral("init"));
}

void CKXTestToolPlugin::show()
{
    record(QStringLiteral("show"));
    if (m_pWindow)
    {
        m_pWindow->show();
    }
}

bool CKXTestToolPlugin::createObject()
{
    record(QStringLiteral("createObject"));
    if (!m_pWindow)
    {
        // No parent on purpose: the host has to adopt it.
        m_pWindow = new QDialog;
        m_pWindow->setWindowTitle(PluginMenuItem());
        m_pWindow->resize(270, 450);
        signalAddWidgetToWorkspace(m_pWindow);
    }
    return true;
}

void CKXTestToolPlugin::onSignalDatasetChanged(CKXSDataset* pDataset)
{
    record(QStringLiteral("datasetChanged"),
           pDataset ? pDataset->getDatasetName() : QStringLiteral("null"));
}

void CKXTestToolPlugin::onSignalSequenceChanged(CKXSSequenceDataset* pSequence)
{
    record(QStringLiteral("changed"), sequenceId(pSequence));
    // Like the animation tool: valid only while the window shows its 3D view.
    CKXSSequenceWindow* pWindow = CKXSSequenceWindow::getSequenceWindow(pSequence);
    if (pWindow)
    {
        updateValidity(pWindow->getCurrentTabName());
    }
}

void CKXTestToolPlugin::onSignalDatasetRemoved(CKXSDataset* pDataset)
{
    record(QStringLiteral("datasetRemoved"),
           pDataset ? pDataset->getDatasetName() : QStringLiteral("null"));
}

void CKXTestToolPlugin::onSignalSequenceAdded(CKXSSequenceDataset* pSequence)
{
    record(QStringLiteral("added"), sequenceId(pSequence));
    if (CKXSSequenceWindow* pWindow = CKXSSequenceWindow::getSequenceWindow(pSequence))
    {
        connect(pWindow, SIGNAL(updatePluginPalette(QString)), this,
                SLOT(onSignalUpdatePluginPalette(QString)));
    }
}

void CKXTestToolPlugin::onSignalSequenceRemoved(CKXSSequenceDataset* pSequence)
{
    // Records whether the host still finds the window: it must not, the window is going.
    record(QStringLiteral("removed"),
           sequenceId(pSequence) + (CKXSSequenceWindow::getSequenceWindow(pSequence)
                                        ? QStringLiteral("+window")
                                        : QString()));
}

void CKXTestToolPlugin::signalAddWidgetToWorkspace(QWidget* pWidget)
{
    emit addWidgetToWorkspace(pWidget);
}

void CKXTestToolPlugin::signalUpdateToolPluginValidity(QAction* pAction, bool bValid, bool bChecked)
{
    emit updateToolPluginValidity(pAction, bValid, bChecked);
}

void CKXTestToolPlugin::onSignalUpdatePluginPalette(QString strPaletteName)
{
    record(QStringLiteral("palette"), strPaletteName);
    updateValidity(strPaletteName);
}

void CKXTestToolPlugin::updateValidity(const QString& strTabName)
{
    signalUpdateToolPluginValidity(
        pluginAction(), strTabName.compare(QStringLiteral("3D View"), Qt::CaseInsensitive) == 0,
        false);
}

void CKXTestToolPlugin::onSignalPlugin3DViewChanged(bool bClearAnalysisResults)
{
    record(QStringLiteral("view"),
           bClearAnalysisResults ? QStringLiteral("clear") : QStringLiteral("keep"));
}

void CKXTestToolPlugin::record(const QString& strKind, const QString& strArgument)
{
    m_listEvents.append(strArgument.isEmpty() ? strKind : strKind + QLatin1Char(':') + strArgument);
}
