#include "CKXSMessageBox.h"

#include "CKXUtilityFns.h"
#include "KXAutomation.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

int CKXSMessageBox::information(QWidget* pParent, const QString& strTitle, const QString& strText,
                                const QString& strButton0, const QString& strButton1,
                                const QString& strButton2, int nDefaultButton, int nEscapeButton)
{
    const QString strShownTitle = strTitle.isEmpty() ? CKXUtilityFns::getAppName() : strTitle;
    if (CKXAutomation::isEnabled() || !qApp)
    {
        // Nobody answers: record it and take the default button, as a user pressing Enter would.
        // The title is recorded as the caller passed it, so that a caller relying on the
        // substitute above shows up.
        CKXAutomation::recordMessage(strTitle, strText);
        return nDefaultButton;
    }

    QMessageBox box(QMessageBox::Information, strShownTitle, strText, QMessageBox::NoButton,
                    pParent);
    QList<QAbstractButton*> listButtons;
    for (const QString& strButton : {strButton0, strButton1, strButton2})
    {
        if (!strButton.isEmpty())
        {
            listButtons.append(box.addButton(strButton, QMessageBox::ActionRole));
        }
    }
    if (listButtons.isEmpty())
    {
        // Three empty texts: the single default button.
        listButtons.append(box.addButton(QMessageBox::Ok));
    }
    if (nDefaultButton >= 0 && nDefaultButton < listButtons.size())
    {
        box.setDefaultButton(qobject_cast<QPushButton*>(listButtons.at(nDefaultButton)));
    }
    if (nEscapeButton >= 0 && nEscapeButton < listButtons.size())
    {
        box.setEscapeButton(listButtons.at(nEscapeButton));
    }
    box.exec();
    const int nPressed = listButtons.indexOf(box.clickedButton());
    // Closed without a button (Escape with no escape button): report the escape index.
    return nPressed >= 0 ? nPressed : nEscapeButton;
}
