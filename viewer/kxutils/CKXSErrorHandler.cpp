#include "CKXSErrorHandler.h"

#include "CKXSLog.h"
#include "CKXSMessageBox.h"
#include "CKXUtilityFns.h"

namespace
{
QString statusText(tag_estatus eStatus)
{
    switch (eStatus)
    {
    case KX_SUCCESS:
        return QString();
    case KX_FAILURE:
        return QStringLiteral("The operation failed.");
    case KX_FILE_ERROR:
        return QStringLiteral("The file could not be read or written.");
    case KX_ENCODER_ERROR:
        return QStringLiteral("The movie could not be encoded.");
    case KX_ABORTED:
        return QStringLiteral("The operation was aborted.");
    }
    return QStringLiteral("The operation failed (status %1).").arg(static_cast<int>(eStatus));
}
} // namespace

void CKXSErrorHandler::errorMessage(QWidget* pParent, tag_estatus eStatus, const QString& strDetail)
{
    if (eStatus == KX_SUCCESS)
    {
        return;
    }
    QString strText = statusText(eStatus);
    if (!strDetail.isEmpty())
    {
        strText += QLatin1Char('\n') + strDetail;
    }
    getLogObject()->log(strText, QStringLiteral("ErrorHandler"), static_cast<int>(eStatus),
                        QString(), 16, false);
    CKXSMessageBox::information(pParent, CKXUtilityFns::getAppName(), strText);
}
