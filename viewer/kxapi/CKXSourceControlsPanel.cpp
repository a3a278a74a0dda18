#include "CKXSourceControlsPanel.h"

#include "CKXPalette.h"
#include "KXPaletteWidgets.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

using namespace KXPaletteWidgets;

CKXSourceControlsPanel::CKXSourceControlsPanel(QWidget* pParent)
    : QGroupBox(tr("Light sources"), pParent), m_pSourceCombo(combo("sourceCombo", {}, this)),
      m_pSurfaceVisible(new QCheckBox(tr("Surface"), this)),
      m_pSurfaceOpacity(percentSlider("sourceSurfaceOpacity", this)),
      m_pSurfaceColor(colorButton("sourceSurfaceColor", this)),
      m_pDrawMode(combo("sourceDrawMode", renderModeNames(), this)),
      m_pShadeMode(combo("sourceShadeMode", shadeModeNames(), this)),
      m_pVolumeVisible(new QCheckBox(tr("Voxels"), this)),
      m_pVolumeOpacity(percentSlider("sourceVolumeOpacity", this)),
      m_pThreshold(new QCheckBox(tr("Threshold"), this)),
      m_pIntensity(percentSlider("sourceIntensity", this)), m_pIntensityValue(new QLabel(this)),
      m_pMip(new QCheckBox(tr("MIP"), this)),
      m_pVoxelColor(combo("sourceVoxelColor", CKXPalette::tableNames(), this)),
      m_pVolumeLog(new QCheckBox(tr("Log"), this)),
      m_pVolumeReversed(new QCheckBox(tr("Reversed"), this)),
      m_pVoxelType(combo("sourceVoxelType", {tr("Cubes"), tr("Points"), tr("Spheres")}, this))
{
    setObjectName(QStringLiteral("sourcePanel"));
    m_pSurfaceVisible->setObjectName(QStringLiteral("sourceSurfaceVisible"));
    m_pVolumeVisible->setObjectName(QStringLiteral("sourceVolumeVisible"));
    m_pThreshold->setObjectName(QStringLiteral("sourceThreshold"));
    m_pMip->setObjectName(QStringLiteral("sourceMip"));
    m_pVolumeLog->setObjectName(QStringLiteral("sourceVolumeLog"));
    m_pVolumeReversed->setObjectName(QStringLiteral("sourceVolumeReversed"));
    m_pIntensityValue->setMinimumWidth(56);
    m_pIntensityValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    QFormLayout* pForm = new QFormLayout(this);
    pForm->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    pForm->addRow(tr("Source"), m_pSourceCombo);

    QHBoxLayout* pSurfaceRow = new QHBoxLayout;
    pSurfaceRow->addWidget(m_pSurfaceVisible);
    pSurfaceRow->addStretch(1);
    pSurfaceRow->addWidget(m_pSurfaceColor);
    pForm->addRow(pSurfaceRow);
    pForm->addRow(tr("Opacity"), withValueLabel(m_pSurfaceOpacity));
    pForm->addRow(tr("Draw"), m_pDrawMode);
    pForm->addRow(tr("Shade"), m_pShadeMode);

    QHBoxLayout* pVolumeRow = new QHBoxLayout;
    pVolumeRow->addWidget(m_pVolumeVisible);
    pVolumeRow->addWidget(m_pMip);
    pVolumeRow->addStretch(1);
    pForm->addRow(pVolumeRow);
    pForm->addRow(tr("Opacity"), withValueLabel(m_pVolumeOpacity));
    QHBoxLayout* pThresholdRow = new QHBoxLayout;
    pThresholdRow->addWidget(m_pThreshold);
    pThresholdRow->addWidget(m_pIntensity, 1);
    pThresholdRow->addWidget(m_pIntensityValue);
    pForm->addRow(pThresholdRow);
    pForm->addRow(tr("Colours"), m_pVoxelColor);
    QHBoxLayout* pColorRow = new QHBoxLayout;
    pColorRow->addWidget(m_pVolumeLog);
    pColorRow->addWidget(m_pVolumeReversed);
    pColorRow->addStretch(1);
    pForm->addRow(pColorRow);
    pForm->addRow(tr("Voxels"), m_pVoxelType);

    connect(m_pSourceCombo, QOverload<int>::of(&QComboBox::activated), this,
            &CKXSourceControlsPanel::onSourceComboActivated);
    connect(m_pSurfaceVisible, &QCheckBox::clicked, this,
            &CKXSourceControlsPanel::onClickSurfaceVisible);
    connect(m_pSurfaceOpacity, &QSlider::valueChanged, this,
            &CKXSourceControlsPanel::onSurfaceOpacityChanged);
    connect(m_pSurfaceColor, &QPushButton::clicked, this,
            &CKXSourceControlsPanel::onClickSurfaceColor);
    connect(m_pDrawMode, QOverload<int>::of(&QComboBox::activated), this,
            &CKXSourceControlsPanel::onSurfaceDrawModeActivated);
    connect(m_pShadeMode, QOverload<int>::of(&QComboBox::activated), this,
            &CKXSourceControlsPanel::onSurfaceShadeModeActivated);
    connect(m_pVolumeVisible, &QCheckBox::clicked, this,
            &CKXSourceControlsPanel::onClickVolumeVisible);
    connect(m_pVolumeOpacity, &QSlider::valueChanged, this,
            &CKXSourceControlsPanel::onVolumeOpacityChanged);
    connect(m_pThreshold, &QCheckBox::clicked, this, &CKXSourceControlsPanel::onClickThreshold);
    connect(m_pIntensity, &QSlider::valueChanged, this,
            &CKXSourceControlsPanel::onIntensityChanged);
    connect(m_pMip, &QCheckBox::clicked, this, &CKXSourceControlsPanel::onClickMip);
    connect(m_pVoxelColor, QOverload<int>::of(&QComboBox::activated), this,
            &CKXSourceControlsPanel::onVoxelColorActivated);
    connect(m_pVolumeLog, &QCheckBox::clicked, this, &CKXSourceControlsPanel::onClickVolumeLog);
    connect(m_pVolumeReversed, &QCheckBox::clicked, this,
            &CKXSourceControlsPanel::onClickVolumeReversed);
    connect(m_pVoxelType, QOverload<int>::of(&QComboBox::activated), this,
            &CKXSourceControlsPanel::onVoxelTypeActivated);
}

QString CKXSourceControlsPanel::selectedSource() const
{
    return m_pSourceCombo->currentText();
}

void CKXSourceControlsPanel::showControls(const tag_s3Dcontrols& controls)
{
    m_bUpdating = true;
    const QStringList listNames = controls.sourceControls.keys();
    QString strSelected = selectedSource();
    if (controls.sourceControls.contains(controls.name3))
    {
        strSelected = controls.name3;
    }
    else if (!listNames.contains(strSelected))
    {
        strSelected = listNames.value(0);
    }
    QStringList listShown;
    for (int i = 0; i < m_pSourceCombo->count(); ++i)
    {
        listShown.append(m_pSourceCombo->itemText(i));
    }
    if (listShown != listNames)
    {
        m_pSourceCombo->clear();
        m_pSourceCombo->addItems(listNames);
    }
    m_pSourceCombo->setCurrentIndex(listNames.indexOf(strSelected));
    const bool bAny = !listNames.isEmpty();
    for (QWidget* pChild : findChildren<QWidget*>())
    {
        if (pChild != m_pSourceCombo)
        {
            pChild->setEnabled(bAny);
        }
    }
    showSource(controls.sourceControls.value(strSelected));
    m_bUpdating = false;
}

void CKXSourceControlsPanel::showSource(const tag_s3DSourceControls& source)
{
    m_sShown = source;
    m_pSurfaceVisible->setChecked(source.surfaceVisible);
    m_pSurfaceOpacity->setValue(source.surfaceOpacity);
    setButtonColor(m_pSurfaceColor, source.surfaceColor);
    m_pDrawMode->setCurrentIndex(qBound(0, source.drawMode, 3));
    m_pShadeMode->setCurrentIndex(qBound(0, source.shadeMode, 3));
    m_pVolumeVisible->setChecked(source.volumeVisible);
    m_pVolumeOpacity->setValue(source.volumeOpacity);
    m_pThreshold->setChecked(source.volumeThreshold);
    m_pIntensity->setValue(source.intensitySlider);
    m_pIntensity->setEnabled(m_pThreshold->isEnabled() && source.volumeThreshold);
    m_pIntensityValue->setText(QString::number(source.intensityValue, 'g', 4));
    m_pMip->setChecked(source.volumeMip);
    m_pVoxelColor->setCurrentIndex(qBound(0, source.voxelColor, m_pVoxelColor->count() - 1));
    m_pVolumeLog->setChecked(source.volumeLogScale);
    m_pVolumeReversed->setChecked(source.volumeReverse());
    m_pVoxelType->setCurrentIndex(qBound(0, source.voxelType, 2));
}

void CKXSourceControlsPanel::edit(const std::function<void(tag_s3DSourceControls&)>& fnEdit)
{
    if (m_bUpdating || !m_fnEdit || selectedSource().isEmpty())
    {
        return;
    }
    m_fnEdit(selectedSource(), fnEdit);
}

void CKXSourceControlsPanel::onSourceComboActivated(int nIndex)
{
    if (!m_bUpdating && nIndex >= 0)
    {
        emit signalSourceSelected(m_pSourceCombo->itemText(nIndex));
    }
}

void CKXSourceControlsPanel::onClickSurfaceVisible(bool bChecked)
{
    edit([bChecked](tag_s3DSourceControls& s) { s.surfaceVisible = bChecked; });
}

void CKXSourceControlsPanel::onSurfaceOpacityChanged(int nValue)
{
    edit([nValue](tag_s3DSourceControls& s) { s.surfaceOpacity = nValue; });
}

void CKXSourceControlsPanel::onClickSurfaceColor()
{
    const QColor color =
        QColorDialog::getColor(buttonColor(m_pSurfaceColor), this, tr("Source surface colour"));
    if (color.isValid())
    {
        edit([color](tag_s3DSourceControls& s) { s.surfaceColor = color; });
    }
}

void CKXSourceControlsPanel::onSurfaceDrawModeActivated(int nIndex)
{
    edit([nIndex](tag_s3DSourceControls& s) { s.drawMode = nIndex; });
}

void CKXSourceControlsPanel::onSurfaceShadeModeActivated(int nIndex)
{
    edit([nIndex](tag_s3DSourceControls& s) { s.shadeMode = nIndex; });
}

void CKXSourceControlsPanel::onClickVolumeVisible(bool bChecked)
{
    edit([bChecked](tag_s3DSourceControls& s) { s.volumeVisible = bChecked; });
}

void CKXSourceControlsPanel::onVolumeOpacityChanged(int nValue)
{
    edit([nValue](tag_s3DSourceControls& s) { s.volumeOpacity = nValue; });
}

void CKXSourceControlsPanel::onClickThreshold(bool bChecked)
{
    edit([bChecked](tag_s3DSourceControls& s) { s.volumeThreshold = bChecked; });
}

void CKXSourceControlsPanel::onIntensityChanged(int nValue)
{
    // The threshold in intensity units follows the slider's percent of the source's range.
    edit(
        [nValue](tag_s3DSourceControls& s)
        {
            s.intensitySlider = nValue;
            s.intensityValue = s.intensityMin + nValue * (s.intensityMax - s.intensityMin) / 100.0;
        });
}

void CKXSourceControlsPanel::onClickMip(bool bChecked)
{
    edit([bChecked](tag_s3DSourceControls& s) { s.volumeMip = bChecked; });
}

void CKXSourceControlsPanel::onVoxelColorActivated(int nIndex)
{
    edit([nIndex](tag_s3DSourceControls& s) { s.voxelColor = nIndex; });
}

void CKXSourceControlsPanel::onClickVolumeLog(bool bChecked)
{
    edit([bChecked](tag_s3DSourceControls& s) { s.volumeLogScale = bChecked; });
}

void CKXSourceControlsPanel::onClickVolumeReversed(bool bChecked)
{
    edit([bChecked](tag_s3DSourceControls& s) { s.volumeReverse() = bChecked; });
}

void CKXSourceControlsPanel::onVoxelTypeActivated(int nIndex)
{
    edit([nIndex](tag_s3DSourceControls& s) { s.voxelType = nIndex; });
}
