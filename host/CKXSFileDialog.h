// The host's file dialogs. Both return 0 when a file was chosen and nonzero when cancelled.
#ifndef CKXSFILEDIALOG_H
#define CKXSFILEDIALOG_H

#include <QString>
#include <QStringList>

class QWidget;

class CKXSFileDialog
{
public:
    // strFileName: in, the proposed name; out, the chosen path. The extension of the chosen
    // filter (strExtensions, parallel to strFilters, without dot) is added when missing.
    static int getSaveFileName(QWidget* pParent, const QString& strCaption, QString& strFileName,
                               const QStringList& strFilters, const QStringList& strExtensions);
    // bMustExist: only an existing file can be chosen.
    static int getOpenFileName(QWidget* pParent, const QString& strCaption, QString& strFileName,
                               const QStringList& strFilters, bool bMustExist);
};

#endif // CKXSFILEDIALOG_H
