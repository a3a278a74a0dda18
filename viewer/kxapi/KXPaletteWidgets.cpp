#include "KXPaletteWidgets.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QSlider>

namespace KXPaletteWidgets
{
QSlider* percentSlider(const QString& strName, QWidget* pParent)
{
    QSlider* pSlider = new QSlider(Qt::Horizontal, pParent);
    pSlider->setObjectName(strName);
    pSlider->setRange(0, 100);
    pSlider->setPageStep(10);
    // Edits apply on every step; the scene's change notification is cheap.
    pSlider->setTracking(true);
    return pSlider;
}

QLayout* withValueLabel(QSlider* pSlider)
{
    QLabel* pLabel = new QLabel(pSlider->parentWidget());
    pLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    pLabel->setText(QStringLiteral("100 %"));
    // A fixed size: a new value then asks for no new layout, which would repaint the whole
    // palette page (and compose the main window once more) for every played frame.
    pLabel->setFixedSize(pLabel->sizeHint());
    pLabel->setText(QStringLiteral("%1 %").arg(pSlider->value()));
    QObject::connect(pSlider, &QSlider::valueChanged, pLabel,
                     [pLabel](int nValue) { pLabel->setText(QStringLiteral("%1 %").arg(nValue)); });
    QHBoxLayout* pRow = new QHBoxLayout;
    pRow->setContentsMargins(0, 0, 0, 0);
    pRow->addWidget(pSlider, 1);
    pRow->addWidget(pLabel);
    return pRow;
}

QComboBox* combo(const QString& strName, const QStringList& listItems, QWidget* pParent)
{
    QComboBox* pCombo = new QComboBox(pParent);
    pCombo->setObjectName(strName);
    pCombo->addItems(listItems);
    return pCombo;
}

QStringList renderModeNames()
{
    return {QObject::tr("Vertices"), QObject::tr("Wireframe"), QObject::tr("Solid"),
            QObject::tr("Wire + solid")};
}

QStringList shadeModeNames()
{
    return {QObject::tr("Box"), QObject::tr("Smooth solid"), QObject::tr("Lit"),
            QObject::tr("Solid lit")};
}

QPushButton* colorButton(const QString& strName, QWidget* pParent)
{
    QPushButton* pButton = new QPushButton(pParent);
    pButton->setObjectName(strName);
    pButton->setToolTip(QObject::tr("Choose the colour"));
    pButton->setFixedWidth(48);
    return pButton;
}

void setButtonColor(QPushButton* pButton, const QColor& color)
{
    // The palette refreshes on every played frame. A new swatch icon each time would leave a
    // new scaled copy in Qt's pixmap cache each time, until the cache's limit.
    const QVariant current = pButton->property("kxColor");
    if (!pButton->icon().isNull() && current.isValid() && current.value<QColor>() == color)
        return;
    QPixmap swatch(24, 12);
    swatch.fill(color.isValid() ? color : QColor(Qt::gray));
    pButton->setIcon(QIcon(swatch));
    pButton->setProperty("kxColor", color);
}

QColor buttonColor(const QPushButton* pButton)
{
    return pButton->property("kxColor").value<QColor>();
}

int firstSet(bool b0, bool b1, bool b2, bool b3, int nFallback)
{
    const bool ab[4] = {b0, b1, b2, b3};
    for (int i = 0; i < 4; ++i)
    {
        if (ab[i])
        {
            return i;
        }
    }
    return nFallback;
}
} // namespace KXPaletteWidgets
