// Modal message boxes of the host.
#ifndef CKXSMESSAGEBOX_H
#define CKXSMESSAGEBOX_H

#include <QString>

class QWidget;

class CKXSMessageBox
{
public:
    // An information box. Empty button texts give the host's single default button. Returns the
    // index of the button pressed (nEscapeButton when closed by Escape).
    static int information(QWidget* pParent, const QString& strTitle, const QString& strText,
                           const QString& strButton0 = QString(),
                           const QString& strButton1 = QString(),
                           const QString& strButton2 = QString(), int nDefaultButton = 0,
                           int nEscapeButton = -1);
};

#endif // CKXSMESSAGEBOX_H
