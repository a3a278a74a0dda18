#include "CKXPluginManager.h"

#include "CKXMainWindow.h"
#include "CKXSLog.h"
#include "CKXSMessageBox.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "CKXUtilityFns.h"

#include <QAction>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QPluginLoader>

namespace
{
const QString kLogSource = QStringLiteral("PluginManager");

// Host notifications and the plug-in slots they go to, connected by name so that a plug-in
// built against these headers needs nothing but its published slots. Tab changes are not
// here: each plug-in connects the sequence window's updatePluginPalette itself when it hears
// of the sequence, and a second connection would deliver every tab change twice.
struct SNotification
{
    const char* pszSignal;
    const char* pszSlot;
};
const SNotification kNotifications[] = {
    {SIGNAL(signalDatasetChanged(CKXSDataset*)), SLOT(onSignalDatasetChanged(CKXSDataset*))},
    {SIGNAL(signalSequenceChanged(CKXSSequenceDataset*)),
     SLOT(onSignalSequenceChanged(CKXSSequenceDataset*))},
    {SIGNAL(signalDatasetRemoved(CKXSDataset*)), SLOT(onSignalDatasetRemoved(CKXSDataset*))},
    {SIGNAL(signalSequenceAdded(CKXSSequenceDataset*)),
     SLOT(onSignalSequenceAdded(CKXSSequenceDataset*))},
    {SIGNAL(signalSequenceRemoved(CKXSSequenceDataset*)),
     SLOT(onSignalSequenceRemoved(CKXSSequenceDataset*))},
    {SIGNAL(signalPlugin3DViewChanged(bool)), SLOT(onSignalPlugin3DViewChanged(bool))},
};

void logLine(const QString& strMessage, long nLevel)
{
    getLogObject()->log(strMessage, kLogSource, 0, QString(), nLevel, false);
}
} // namespace

CKXPluginManager::CKXPluginManager(CKXMainWindow* pHost, QObject* pParent)
    : QObject(pParent), m_pHost(pHost)
{
}

CKXPluginManager::~CKXPluginManager()
{
    for (const QPointer<CKXToolPluginBase>& pPlugin : m_listPlugins)
    {
        delete pPlugin.data();
    }
}

QString CKXPluginManager::defaultPluginDir()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/plugins");
}

QString CKXPluginManager::resolvePluginDir(const QString& strOption)
{
    if (!strOption.isEmpty())
    {
        return strOption;
    }
    const QString strEnv = qEnvironmentVariable("KX_PLUGIN_PATH");
    return strEnv.isEmpty() ? defaultPluginDir() : strEnv;
}

int CKXPluginManager::loadPlugins(const QString& strDir)
{
    const QDir dir(strDir);
    if (strDir.isEmpty() || !dir.exists())
    {
        logLine(tr("Plug-ins folder \"%1\" does not exist; no tools are loaded.").arg(strDir), 3);
        return 0;
    }
    int nLoaded = 0;
    const QFileInfoList listFiles = dir.entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& info : listFiles)
    {
        if (loadPlugin(info.absoluteFilePath()))
        {
            ++nLoaded;
        }
    }
    logLine(tr("%1 tool plug-in(s) loaded from \"%2\".").arg(nLoaded).arg(dir.absolutePath()), 2);
    return nLoaded;
}

void CKXPluginManager::skip(const QString& strPath, const QString& strReason)
{
    m_listSkipped.append(SKXSkippedPlugin{strPath, strReason});
    logLine(tr("Skipped \"%1\": %2").arg(strPath, strReason), 3);
}

bool CKXPluginManager::loadPlugin(const QString& strPath, QString* pReason)
{
    QString strReason;
    QPluginLoader loader(strPath);
    // The metadata is read without running any of the library's code.
    const QString strIID = loader.metaData().value(QStringLiteral("IID")).toString();
    CKXToolPluginBase* pPlugin = nullptr;
    if (loader.metaData().isEmpty())
    {
        strReason = tr("not a Qt plug-in (%1)").arg(loader.errorString());
    }
    else if (!strIID.startsWith(QLatin1String(KX_TOOL_PLUGIN_IID_PREFIX)))
    {
        strReason = tr("IID \"%1\" is not a tool plug-in of this viewer (expected \"%2...\")")
                        .arg(strIID, QLatin1String(KX_TOOL_PLUGIN_IID_PREFIX));
    }
    else if (QObject* pInstance = loader.instance())
    {
        pPlugin = qobject_cast<CKXToolPluginBase*>(pInstance);
        if (!pPlugin)
        {
            strReason = tr("%1 does not implement %2")
                            .arg(QString::fromLatin1(pInstance->metaObject()->className()),
                                 QLatin1String(KX_TOOL_PLUGIN_INTERFACE_IID));
            loader.unload();
        }
        else if (m_listPlugins.contains(pPlugin))
        {
            strReason = tr("already loaded");
            pPlugin = nullptr;
        }
    }
    else
    {
        strReason = loader.errorString();
    }

    if (!pPlugin)
    {
        skip(strPath, strReason);
        if (pReason)
        {
            *pReason = strReason;
        }
        return false;
    }
    connectPlugin(pPlugin, strPath);
    return true;
}

void CKXPluginManager::connectPlugin(CKXToolPluginBase* pPlugin, const QString& strPath)
{
    m_listPlugins.append(pPlugin);
    pPlugin->init();

    const int nMenu = pPlugin->pluginMenu();
    const QString strItem = pPlugin->PluginMenuItem();
    const QString strBefore = pPlugin->MenuItemBefore();
    const QIcon icon = pPlugin->pluginIcon();
    QAction* pAction = pPlugin->pluginAction();
    if (pAction && m_pHost)
    {
        if (pAction->icon().isNull() && !icon.isNull())
        {
            pAction->setIcon(icon);
        }
        m_pHost->addPluginAction(pAction, nMenu, strBefore);
        m_mapActions.insert(pAction, pPlugin);
        connect(pAction, &QAction::triggered, this, &CKXPluginManager::onClickPluginAction);
        connect(pAction, &QObject::destroyed, this,
                [this, pAction]() { m_mapActions.remove(pAction); });
    }

    if (m_pHost)
    {
        connect(pPlugin, &CKXToolPluginBase::addWidgetToWorkspace, m_pHost,
                &CKXMainWindow::onSignalAddWidgetToWorkspace);
        connect(pPlugin, &CKXToolPluginBase::updateToolPluginValidity, m_pHost,
                &CKXMainWindow::onSignalUpdateToolPluginValidity);
        const QMetaObject* pMeta = pPlugin->metaObject();
        for (const SNotification& notification : kNotifications)
        {
            // SLOT() prefixes a code digit; the meta-object wants the bare signature.
            const QByteArray baSlot = QMetaObject::normalizedSignature(notification.pszSlot + 1);
            if (pMeta->indexOfSlot(baSlot.constData()) < 0)
            {
                logLine(tr("%1 does not handle %2.").arg(strItem, QString::fromLatin1(baSlot)), 1);
                continue;
            }
            // Direct: the plug-in sees each change before the host goes on.
            connect(m_pHost, notification.pszSignal, pPlugin, notification.pszSlot,
                    Qt::DirectConnection);
        }
    }
    logLine(tr("Loaded tool \"%1\" from \"%2\".").arg(strItem, strPath), 2);
    sendCurrentState(pPlugin);
}

void CKXPluginManager::sendCurrentState(CKXToolPluginBase* pPlugin)
{
    if (!m_pHost)
    {
        return;
    }
    for (CKXSequenceWindowImpl* pWindow : m_pHost->sequenceWindows())
    {
        pPlugin->onSignalSequenceAdded(pWindow->getSequenceDataset());
    }
    if (CKXSequenceWindowImpl* pActive = m_pHost->activeSequenceWindow())
    {
        pPlugin->onSignalSequenceChanged(pActive->getSequenceDataset());
    }
    else
    {
        pPlugin->onSignalDatasetChanged(nullptr);
    }
}

QList<CKXToolPluginBase*> CKXPluginManager::plugins() const
{
    QList<CKXToolPluginBase*> list;
    for (const QPointer<CKXToolPluginBase>& pPlugin : m_listPlugins)
    {
        if (pPlugin)
        {
            list.append(pPlugin);
        }
    }
    return list;
}

void CKXPluginManager::onClickPluginAction()
{
    QAction* pAction = qobject_cast<QAction*>(sender());
    CKXToolPluginBase* pPlugin = m_mapActions.value(pAction);
    if (!pPlugin)
    {
        return;
    }
    if (!pPlugin->createObject())
    {
        CKXSMessageBox::information(
            m_pHost, CKXUtilityFns::getAppName(),
            tr("The tool \"%1\" could not be opened.").arg(pPlugin->PluginMenuItem()));
        return;
    }
    pPlugin->show();
}
