#include "CKXDataMenu.h"

#include "CKXDatasetLoader.h"
#include "CKXMainWindow.h"
#include "CKXSFileDialog.h"
#include "CKXSMessageBox.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXUtilityFns.h"
#include "KXAutomation.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QSettings>
#include <QUrl>

namespace
{
const char* const kRecentKey = "recentData";

// "role|name|path" per request, one string per dataset joined by newlines.
QString encode(const QList<SKXOpenRequest>& listRequests)
{
    QStringList list;
    for (const SKXOpenRequest& request : listRequests)
        list << QStringLiteral("%1|%2|%3")
                    .arg(CKXSceneFile::roleName(request.role), QString(request.name).remove('|'),
                         request.path);
    return list.join('\n');
}

QList<SKXOpenRequest> decode(const QString& strText)
{
    QList<SKXOpenRequest> listRequests;
    for (const QString& strLine : strText.split('\n', Qt::SkipEmptyParts))
    {
        const QStringList parts = strLine.split('|');
        if (parts.size() < 3)
            continue;
        SKXOpenRequest request;
        request.role = CKXSceneFile::roleOf(parts.at(0));
        request.name = parts.at(1);
        request.path = parts.mid(2).join('|');
        listRequests << request;
    }
    return listRequests;
}

QString titleOf(const QList<SKXOpenRequest>& listRequests)
{
    QStringList names;
    for (const SKXOpenRequest& request : listRequests)
        names << QFileInfo(request.path).fileName();
    return names.join(QStringLiteral(" + "));
}
} // namespace

CKXDataMenu::CKXDataMenu(CKXMainWindow* pWindow, QMenu* pFileMenu, QAction* pBefore)
    : QObject(pWindow), m_pWindow(pWindow), m_pRecentMenu(new QMenu(tr("Open &Recent"), pWindow))
{
    QAction* pOpen = new QAction(tr("&Open..."), this);
    pOpen->setShortcut(QKeySequence::Open);
    connect(pOpen, &QAction::triggered, this, &CKXDataMenu::onClickOpen);
    QAction* pDicom = new QAction(tr("Open &DICOM Folder..."), this);
    connect(pDicom, &QAction::triggered, this, &CKXDataMenu::onClickOpenDicomFolder);
    QMenu* pAs = new QMenu(tr("Open &As"), pWindow);
    const std::pair<EKXDataRole, QString> kRoles[] = {
        {EKXDataRole::Subject, tr("&Subject Surface...")},
        {EKXDataRole::Organ, tr("&Organ Surface...")},
        {EKXDataRole::Volume, tr("&Multimodality Volume...")},
        {EKXDataRole::Source, tr("&Light Source...")}};
    for (const auto& role : kRoles)
    {
        const EKXDataRole eRole = role.first;
        pAs->addAction(role.second, this, [this, eRole]() { onClickOpenAs(eRole); });
    }
    pFileMenu->insertAction(pBefore, pOpen);
    pFileMenu->insertAction(pBefore, pDicom);
    pFileMenu->insertMenu(pBefore, pAs);
    pFileMenu->insertMenu(pBefore, m_pRecentMenu);
    pFileMenu->insertSeparator(pBefore);

    if (!CKXAutomation::isEnabled())
        for (const QString& strText : QSettings().value(kRecentKey).toStringList())
            if (!decode(strText).isEmpty())
                m_listRecent << decode(strText);
    fillRecentMenu();
}

QList<SKXOpenRequest> CKXDataMenu::requestsOf(const QMimeData* pData)
{
    QList<SKXOpenRequest> listRequests;
    if (!pData || !pData->hasUrls())
        return listRequests;
    for (const QUrl& url : pData->urls())
    {
        if (!url.isLocalFile())
            return {};
        SKXOpenRequest request;
        request.path = url.toLocalFile();
        listRequests << request;
    }
    return listRequests;
}

bool CKXDataMenu::open(const QList<SKXOpenRequest>& listRequests)
{
    QString strError;
    if (!m_pWindow->openDataset(listRequests, strError))
    {
        CKXSMessageBox::information(m_pWindow, CKXUtilityFns::getAppName(), strError, QString(),
                                    QString(), QString(), 0, -1);
        return false;
    }
    remember(listRequests);
    return true;
}

void CKXDataMenu::onClickOpen()
{
    QString strFile;
    if (CKXSFileDialog::getOpenFileName(m_pWindow, tr("Open Data"), strFile,
                                        CKXDatasetLoader::nameFilters(), true) != 0)
        return;
    SKXOpenRequest request;
    request.path = strFile;
    open({request});
}

void CKXDataMenu::onClickOpenDicomFolder()
{
    QString strFolder;
    if (CKXAutomation::isEnabled())
    {
        if (!CKXAutomation::takeFileName(strFolder))
            return;
    }
    else
        strFolder = QFileDialog::getExistingDirectory(m_pWindow, tr("Open DICOM Folder"));
    if (strFolder.isEmpty())
        return;
    SKXOpenRequest request;
    request.path = strFolder;
    request.role = EKXDataRole::Volume;
    open({request});
}

void CKXDataMenu::onClickOpenAs(EKXDataRole eRole)
{
    QString strFile;
    if (CKXSFileDialog::getOpenFileName(m_pWindow,
                                        tr("Open As %1").arg(CKXSceneFile::roleName(eRole)),
                                        strFile, CKXDatasetLoader::nameFilters(), true) != 0)
        return;
    SKXOpenRequest request;
    request.path = strFile;
    request.role = eRole;
    // The current dataset is read again with the new part, in a window that replaces it once
    // the whole has loaded: a file that fails leaves the current window as it was.
    const QPointer<CKXSequenceWindowImpl> pCurrent = m_pWindow->activeSequenceWindow();
    QList<SKXOpenRequest> listRequests =
        pCurrent ? pCurrent->openRequests() : QList<SKXOpenRequest>();
    listRequests << request;
    if (open(listRequests) && pCurrent && !pCurrent->openRequests().isEmpty())
        m_pWindow->closeSequence(pCurrent);
}

void CKXDataMenu::remember(const QList<SKXOpenRequest>& listRequests)
{
    const QString strEncoded = encode(listRequests);
    for (int i = m_listRecent.size() - 1; i >= 0; --i)
        if (encode(m_listRecent.at(i)) == strEncoded)
            m_listRecent.removeAt(i);
    m_listRecent.prepend(listRequests);
    while (m_listRecent.size() > kMaxRecent)
        m_listRecent.removeLast();
    if (!CKXAutomation::isEnabled())
    {
        QStringList listStored;
        for (const QList<SKXOpenRequest>& entry : qAsConst(m_listRecent))
            listStored << encode(entry);
        QSettings().setValue(kRecentKey, listStored);
    }
    fillRecentMenu();
}

void CKXDataMenu::fillRecentMenu()
{
    m_pRecentMenu->clear();
    for (const QList<SKXOpenRequest>& entry : qAsConst(m_listRecent))
        m_pRecentMenu->addAction(titleOf(entry), this, [this, entry]() { open(entry); });
    m_pRecentMenu->setEnabled(!m_listRecent.isEmpty());
}
