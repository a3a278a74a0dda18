#include "CKXViewSizeDialog.h"

#include "CKXSMessageBox.h"
#include "CKXUtilityFns.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

namespace
{
// The fields take any number a user may type, so that a size beyond the limits gets a message
// saying why instead of being clamped without a word.
constexpr int kFieldMaximum = 99999;
} // namespace

bool CKXViewSizeDialog::isAcceptable(const QSize& size, QString& strMessage)
{
    const QSize minimum = minimumPixels();
    const QSize maximum = maximumPixels();
    if (size.width() >= minimum.width() && size.height() >= minimum.height() &&
        size.width() <= maximum.width() && size.height() <= maximum.height())
    {
        strMessage.clear();
        return true;
    }
    strMessage = tr("The 3D view cannot be %1 x %2 pixels: the width must be %3 to %4 and the "
                    "height %5 to %6 pixels.")
                     .arg(size.width())
                     .arg(size.height())
                     .arg(minimum.width())
                     .arg(maximum.width())
                     .arg(minimum.height())
                     .arg(maximum.height());
    return false;
}

CKXViewSizeDialog::CKXViewSizeDialog(const QSize& initial, QWidget* pParent)
    : QDialog(pParent), m_pWidth(new QSpinBox(this)), m_pHeight(new QSpinBox(this))
{
    setObjectName(QStringLiteral("ViewSizeDialog"));
    setWindowTitle(tr("3D View Size"));
    const QSize start = initial.isValid() ? initial : QSize(1920, 1080);
    for (QSpinBox* pBox : {m_pWidth, m_pHeight})
    {
        pBox->setRange(0, kFieldMaximum);
        pBox->setSuffix(tr(" px"));
    }
    m_pWidth->setObjectName(QStringLiteral("ViewWidth"));
    m_pHeight->setObjectName(QStringLiteral("ViewHeight"));
    m_pWidth->setValue(start.width());
    m_pHeight->setValue(start.height());

    QLabel* pNote = new QLabel(tr("Device pixels, as a recorded movie gets them (%1 x %2 to "
                                  "%3 x %4). A view larger than its window scrolls.")
                                   .arg(minimumPixels().width())
                                   .arg(minimumPixels().height())
                                   .arg(maximumPixels().width())
                                   .arg(maximumPixels().height()),
                               this);
    pNote->setWordWrap(true);
    QFormLayout* pForm = new QFormLayout;
    pForm->addRow(tr("&Width:"), m_pWidth);
    pForm->addRow(tr("&Height:"), m_pHeight);
    QDialogButtonBox* pButtons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CKXViewSizeDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    QVBoxLayout* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pForm);
    pLayout->addWidget(pNote);
    pLayout->addWidget(pButtons);
}

QSize CKXViewSizeDialog::pixelSize() const
{
    return QSize(m_pWidth->value(), m_pHeight->value());
}

void CKXViewSizeDialog::accept()
{
    QString strMessage;
    if (!isAcceptable(pixelSize(), strMessage))
    {
        CKXSMessageBox::information(this, CKXUtilityFns::getAppName(), strMessage, QString(),
                                    QString(), QString(), 0, -1);
        return;
    }
    QDialog::accept();
}
