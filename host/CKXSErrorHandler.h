// Host status codes and their error report.
#ifndef CKXSERRORHANDLER_H
#define CKXSERRORHANDLER_H

#include <QString>

class QWidget;

enum tag_estatus
{
    KX_SUCCESS = 0,
    KX_FAILURE = 1,
    KX_FILE_ERROR = 2,
    KX_ENCODER_ERROR = 3,
    KX_ABORTED = 4
};

class CKXSErrorHandler
{
public:
    // Shows the message for a nonzero status; strDetail is appended when not empty.
    static void errorMessage(QWidget* pParent, tag_estatus eStatus, const QString& strDetail);
};

#endif // CKXSERRORHANDLER_H
