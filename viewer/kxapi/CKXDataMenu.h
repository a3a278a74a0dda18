// The main window's entries for the user's own data: File > Open..., Open DICOM Folder...,
// Open As (a file in a chosen role, added to the current dataset), Open Recent, and files
// dropped on the main window. Errors are shown in a message box that names the file; what was
// open stays as it was.
#ifndef CKXDATAMENU_H
#define CKXDATAMENU_H

#include "CKXSceneFile.h"

#include <QList>
#include <QObject>

class CKXMainWindow;
class QAction;
class QDropEvent;
class QMenu;
class QMimeData;

class CKXDataMenu : public QObject
{
    Q_OBJECT
public:
    // Adds its entries to pFileMenu, before pBefore (null: at the end).
    CKXDataMenu(CKXMainWindow* pWindow, QMenu* pFileMenu, QAction* pBefore);

    // The local files of a drag, or empty when it carries none.
    static QList<SKXOpenRequest> requestsOf(const QMimeData* pData);
    // Opens the requests as one dataset; false (after the message) when it cannot be read.
    bool open(const QList<SKXOpenRequest>& listRequests);

    // Recent datasets, newest first, at most kMaxRecent; kept across runs unless automation
    // is on (tests and headless runs leave the user's list alone).
    static constexpr int kMaxRecent = 8;
    QList<QList<SKXOpenRequest>> recent() const { return m_listRecent; }

public slots:
    void onClickOpen();
    void onClickOpenDicomFolder();
    // A file in the given role added to the current dataset (a sample's window: a new one).
    void onClickOpenAs(EKXDataRole eRole);

private:
    void remember(const QList<SKXOpenRequest>& listRequests);
    void fillRecentMenu();

    CKXMainWindow* m_pWindow;
    QMenu* m_pRecentMenu;
    QList<QList<SKXOpenRequest>> m_listRecent;
};

#endif // CKXDATAMENU_H
