// A tool plug-in for the host tests: it records every notification the viewer sends, in order,
// as "kind:argument" strings that a test reads through events().
//
// Built three times from this one source: as a proper tool plug-in, with a metadata IID of
// another product (KX_TEST_PLUGIN_IID), and against an older interface version
// (KX_TEST_OLD_INTERFACE), which the viewer must refuse.
#ifndef CKXTESTTOOLPLUGIN_H
#define CKXTESTTOOLPLUGIN_H

#ifdef KX_TEST_OLD_INTERFACE
// Stand-in for the identity header of an older host release.
#define KXHOSTIDENTITY_H
#define KX_HOST_MAKER_ID "kxlabs"
#define KX_HOST_PRODUCT_ID "tessaly"
#define KX_TOOL_PLUGIN_INTERFACE_IID "com.kxlabs.tessaly.CKXToolPluginBase/0.9"
#define KX_TOOL_PLUGIN_IID_PREFIX "kxlabs.tessaly."
#endif

#include "CKXToolPluginBase.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

class CKXTestToolPlugin : public CKXToolPluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID KX_TEST_PLUGIN_IID)
    Q_INTERFACES(CKXToolPluginBase)
public:
    CKXTestToolPlugin() = default;
    ~CKXTestToolPlugin() override;

    int pluginMenu() override { return 0; }
    QAction* pluginAction() override;
    QIcon pluginIcon() override { return QIcon(); }
    QString PluginMenuItem() override { return QStringLiteral("Test Tool"); }
    QString MenuItemBefore() override { return QString(); }
    void init() override;
    void show() override;
    bool createObject() override;
    bool isVisible() override { return m_pWindow && m_pWindow->isVisible(); }

    Q_INVOKABLE QStringList events() const { return m_listEvents; }
    Q_INVOKABLE void clearEvents() { m_listEvents.clear(); }
    Q_INVOKABLE QWidget* toolWindow() const { return m_pWindow; }

public slots:
    void onSignalDatasetChanged(CKXSDataset* pDataset) override;
    void onSignalSequenceChanged(CKXSSequenceDataset* pSequence) override;
    void onSignalDatasetRemoved(CKXSDataset* pDataset) override;
    void onSignalSequenceAdded(CKXSSequenceDataset* pSequence) override;
    void onSignalSequenceRemoved(CKXSSequenceDataset* pSequence) override;
    void onSignalROIModified(QString) override {}
    void onSignalROIDeleted() override {}
    void onSignalupdateROIList() override {}
    void signalAddWidgetToWorkspace(QWidget* pWidget) override;
    void signalUpdateToolPluginValidity(QAction* pAction, bool bValid, bool bChecked) override;
    void onSignalUpdatePluginPalette(QString strPaletteName) override;
    void onSignalPlugin3DViewChanged(bool bClearAnalysisResults) override;

private:
    void updateValidity(const QString& strTabName);
    void record(const QString& strKind, const QString& strArgument = QString());

    QStringList m_listEvents;
    QPointer<QWidget> m_pWindow;
};

#endif // CKXTESTTOOLPLUGIN_H
