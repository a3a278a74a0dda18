// The interface of the host's tool plug-ins. A tool plug-in is a QObject that derives from this
// class, declares Q_INTERFACES(CKXToolPluginBase) and publishes the notification handlers below
// as slots; the host connects its notifications to them by name.
#ifndef CKXTOOLPLUGINBASE_H
#define CKXTOOLPLUGINBASE_H

#include "KXHostIdentity.h"

#include <QIcon>
#include <QObject>
#include <QString>
#include <QtPlugin>

class QAction;
class QWidget;
class CKXSDataset;
class CKXSSequenceDataset;

class CKXToolPluginBase : public QObject
{
    Q_OBJECT
public:
    explicit CKXToolPluginBase(QObject* pParent = nullptr);
    ~CKXToolPluginBase() override;

    // The menu that receives the tool (0: the Tools menu); 5 suppresses the action.
    virtual int pluginMenu() = 0;
    // The tool's menu action, owned by the plug-in.
    virtual QAction* pluginAction() = 0;
    virtual QIcon pluginIcon() = 0;
    virtual QString PluginMenuItem() = 0;
    // The menu entry this tool is placed before; empty for no constraint.
    virtual QString MenuItemBefore() = 0;
    virtual void init() = 0;
    virtual void show() = 0;
    // Creates the tool's window; false when it could not be created.
    virtual bool createObject() = 0;
    virtual bool isVisible() = 0;
    // The host adopts the widget into its workspace.
    virtual void signalAddWidgetToWorkspace(QWidget* pWidget) = 0;
    // Enables (bValid) or disables the action.
    virtual void signalUpdateToolPluginValidity(QAction* pAction, bool bValid, bool bChecked) = 0;
    virtual QString getBaseModuleName() { return QString(); }
    virtual bool isBaseModuleAvailable() { return false; }
    virtual bool defaultVisibilityForPluggin() { return false; }
    virtual bool hasPreferenceWidget() { return false; }
    virtual QWidget* getPreferenceWidget() { return nullptr; }
    virtual void onSignalDatasetChanged(CKXSDataset* pDataset) = 0;
    virtual void onSignalSequenceChanged(CKXSSequenceDataset* pSequence) = 0;
    virtual void onSignalDatasetRemoved(CKXSDataset* pDataset) = 0;
    virtual void onSignalSequenceAdded(CKXSSequenceDataset* pSequence) = 0;
    virtual void onSignalSequenceRemoved(CKXSSequenceDataset* pSequence) = 0;
    virtual void onSignalROIModified(QString strROI) = 0;
    virtual void onSignalROIDeleted() = 0;
    virtual void onSignalupdateROIList() = 0;
    virtual void onAdvancedOptionChanged(bool) {}
    virtual void onSignalCopyToClipboard(QString) {}
    virtual void onSignalGetPrintPixmap(bool) {}
    virtual void onSignalSaveToArchiva() {}
    virtual void onSignalUpdatePluginMenu(QString) {}
    virtual void onSignalUpdatePluginPalette(QString strPaletteName) = 0;
    virtual void onSignalPlugin3DViewChanged(bool bClearAnalysisResults) = 0;

signals:
    // The host adopts the widget into its workspace.
    void addWidgetToWorkspace(QWidget* pWidget);
    // The host enables (bValid) or disables the action.
    void updateToolPluginValidity(QAction* pAction, bool bValid, bool bChecked);

protected:
    QAction* m_pAction; // created by pluginAction(), null until then
};

Q_DECLARE_INTERFACE(CKXToolPluginBase, KX_TOOL_PLUGIN_INTERFACE_IID)

#endif // CKXTOOLPLUGINBASE_H
