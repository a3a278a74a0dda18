// The light-source part of the 3D tools palette: a source selector and the selected source's
// surface and voxel settings. It shows whatever controls record it is given and reports each
// edit as a change of one source's record; the palette applies it to the scene.
#ifndef CKXSOURCECONTROLSPANEL_H
#define CKXSOURCECONTROLSPANEL_H

#include "KeyFrameRecords.h"

#include <QGroupBox>

#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSlider;

class CKXSourceControlsPanel : public QGroupBox
{
    Q_OBJECT
public:
    // Applies an edit of source strSource's record; set by the palette.
    using EditFn = std::function<void(const QString& strSource,
                                      const std::function<void(tag_s3DSourceControls&)>& fnEdit)>;

    explicit CKXSourceControlsPanel(QWidget* pParent = nullptr);
    void setEditFunction(EditFn fnEdit) { m_fnEdit = std::move(fnEdit); }

    // Shows controls.sourceControls; the selector follows controls.name3 when it names a
    // source, else keeps its selection.
    void showControls(const tag_s3Dcontrols& controls);
    QString selectedSource() const;

signals:
    // The user picked another source (the scene's current source, name3).
    void signalSourceSelected(const QString& strSource);

private slots:
    void onSourceComboActivated(int nIndex);
    void onClickSurfaceVisible(bool bChecked);
    void onSurfaceOpacityChanged(int nValue);
    void onClickSurfaceColor();
    void onSurfaceDrawModeActivated(int nIndex);
    void onSurfaceShadeModeActivated(int nIndex);
    void onClickVolumeVisible(bool bChecked);
    void onVolumeOpacityChanged(int nValue);
    void onClickThreshold(bool bChecked);
    void onIntensityChanged(int nValue);
    void onClickMip(bool bChecked);
    void onVoxelColorActivated(int nIndex);
    void onClickVolumeLog(bool bChecked);
    void onClickVolumeReversed(bool bChecked);
    void onVoxelTypeActivated(int nIndex);

private:
    void showSource(const tag_s3DSourceControls& source);
    void edit(const std::function<void(tag_s3DSourceControls&)>& fnEdit);

    EditFn m_fnEdit;
    bool m_bUpdating = false;
    tag_s3DSourceControls m_sShown; // the selected source as shown
    QComboBox* m_pSourceCombo;
    QCheckBox* m_pSurfaceVisible;
    QSlider* m_pSurfaceOpacity;
    QPushButton* m_pSurfaceColor;
    QComboBox* m_pDrawMode;
    QComboBox* m_pShadeMode;
    QCheckBox* m_pVolumeVisible;
    QSlider* m_pVolumeOpacity;
    QCheckBox* m_pThreshold;
    QSlider* m_pIntensity;
    QLabel* m_pIntensityValue;
    QCheckBox* m_pMip;
    QComboBox* m_pVoxelColor;
    QCheckBox* m_pVolumeLog;
    QCheckBox* m_pVolumeReversed;
    QComboBox* m_pVoxelType;
};

#endif // CKXSOURCECONTROLSPANEL_H
