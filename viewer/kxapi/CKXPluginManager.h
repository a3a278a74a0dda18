// Loads the tool plug-ins of a folder into the main window.
//
// Every file of the folder goes through QPluginLoader. A library is accepted when its metadata
// IID starts with KX_TOOL_PLUGIN_IID_PREFIX and its instance casts to CKXToolPluginBase (which
// checks KX_TOOL_PLUGIN_INTERFACE_IID). Anything else is logged with the reason and skipped.
// An accepted plug-in is initialised, its action goes into its menu, its signals and the main
// window's notifications are connected, and it is told the current workspace: sequence added
// for each open sequence, then sequence changed for the active one.
#ifndef CKXPLUGINMANAGER_H
#define CKXPLUGINMANAGER_H

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>

class CKXMainWindow;
class CKXToolPluginBase;
class QAction;
class QPluginLoader;

// A file of the plug-ins folder that was not loaded, and why.
struct SKXSkippedPlugin
{
    QString strPath;
    QString strReason;
};

class CKXPluginManager : public QObject
{
    Q_OBJECT
public:
    // The main window is not owned and should outlive the manager.
    explicit CKXPluginManager(CKXMainWindow* pHost, QObject* pParent = nullptr);
    // Deletes the plug-in objects (each deletes its own windows); the libraries stay loaded
    // until the process ends, since objects they created may still be around.
    ~CKXPluginManager() override;

    // "plugins" next to the executable.
    static QString defaultPluginDir();
    // strOption (from --plugins) when set, else $KX_PLUGIN_PATH when set, else the default.
    static QString resolvePluginDir(const QString& strOption);

    // Loads every plug-in of strDir; returns how many were loaded. A missing folder is logged.
    int loadPlugins(const QString& strDir);
    // Loads one library; on failure returns false and fills *pReason when given.
    bool loadPlugin(const QString& strPath, QString* pReason = nullptr);

    QList<CKXToolPluginBase*> plugins() const;
    QList<SKXSkippedPlugin> skippedPlugins() const { return m_listSkipped; }

private slots:
    void onClickPluginAction();

private:
    void connectPlugin(CKXToolPluginBase* pPlugin, const QString& strPath);
    void sendCurrentState(CKXToolPluginBase* pPlugin);
    void skip(const QString& strPath, const QString& strReason);

    QPointer<CKXMainWindow> m_pHost;
    QList<QPointer<CKXToolPluginBase>> m_listPlugins;
    QMap<QAction*, QPointer<CKXToolPluginBase>> m_mapActions;
    QList<SKXSkippedPlugin> m_listSkipped;
};

#endif // CKXPLUGINMANAGER_H
