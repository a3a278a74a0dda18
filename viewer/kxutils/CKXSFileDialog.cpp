#include "CKXSFileDialog.h"

#include "KXAutomation.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>

namespace
{
bool hasListedExtension(const QString& strFileName, const QStringList& strExtensions)
{
    const QString strSuffix = QFileInfo(strFileName).suffix();
    for (const QString& strExtension : strExtensions)
    {
        if (strSuffix.compare(strExtension, Qt::CaseInsensitive) == 0)
        {
            return true;
        }
    }
    return false;
}

// Adds ".ext" of the chosen filter unless the name already ends in one of the offered
// extensions, so "movie" becomes "movie.mp4" and "movie.MOV" stays as typed.
QString withExtension(const QString& strFileName, const QStringList& strExtensions, int nFilter)
{
    if (strExtensions.isEmpty() || hasListedExtension(strFileName, strExtensions))
    {
        return strFileName;
    }
    const QString strExtension = strExtensions.value(nFilter, strExtensions.first());
    if (strExtension.isEmpty())
    {
        return strFileName;
    }
    QString strResult = strFileName;
    if (!strResult.endsWith(QLatin1Char('.')))
    {
        strResult += QLatin1Char('.');
    }
    return strResult + strExtension;
}
} // namespace

int CKXSFileDialog::getSaveFileName(QWidget* pParent, const QString& strCaption,
                                    QString& strFileName, const QStringList& strFilters,
                                    const QStringList& strExtensions)
{
    if (CKXAutomation::isEnabled() || !qApp)
    {
        CKXAutomation::recordFileDialog(
            SKXRecordedFileDialog{true, strCaption, strFilters, strExtensions});
        QString strQueued;
        if (!CKXAutomation::takeFileName(strQueued))
        {
            return 1;
        }
        // A queued name is the user's final answer; only a name without any suffix gets the
        // first filter's extension, as if typed with the first filter selected.
        strFileName = QFileInfo(strQueued).suffix().isEmpty() && !strQueued.isEmpty()
                          ? withExtension(strQueued, strExtensions, 0)
                          : strQueued;
        return 0;
    }

    QFileDialog dialog(pParent, strCaption, strFileName);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    if (!strFilters.isEmpty())
    {
        dialog.setNameFilters(strFilters);
    }
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
    {
        return 1;
    }
    const int nFilter = strFilters.indexOf(dialog.selectedNameFilter());
    strFileName = withExtension(dialog.selectedFiles().first(), strExtensions, qMax(0, nFilter));
    return 0;
}

int CKXSFileDialog::getOpenFileName(QWidget* pParent, const QString& strCaption,
                                    QString& strFileName, const QStringList& strFilters,
                                    bool bMustExist)
{
    if (CKXAutomation::isEnabled() || !qApp)
    {
        // The queued name is returned as given, even when it does not exist: the caller's own
        // open error is what a vanished file would produce too.
        CKXAutomation::recordFileDialog(
            SKXRecordedFileDialog{false, strCaption, strFilters, QStringList()});
        QString strQueued;
        if (!CKXAutomation::takeFileName(strQueued))
        {
            return 1;
        }
        strFileName = strQueued;
        return 0;
    }

    QFileDialog dialog(pParent, strCaption, strFileName);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(bMustExist ? QFileDialog::ExistingFile : QFileDialog::AnyFile);
    if (!strFilters.isEmpty())
    {
        QStringList listFilters = strFilters;
        listFilters.append(QObject::tr("All files (*)"));
        dialog.setNameFilters(listFilters);
    }
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
    {
        return 1;
    }
    strFileName = dialog.selectedFiles().first();
    return 0;
}
