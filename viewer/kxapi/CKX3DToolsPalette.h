// The 3D tools palette: the display controls of the active sequence's scene (surface mesh,
// photon density map, organs, light sources, multimodality volume). It shows the scene's
// currentControls() and writes every edit back with applyControls(); while a tool plays key
// frames it shows the key frame it was handed instead (signalUpdate3DToolsPalette with false)
// until it is told to show the scene again (true) or the user edits a control.
// Edits and camera moves are not announced as 3D view changes.
//
// Key frame updates and scene changes are coalesced: the widgets are brought up to date once
// per event loop pass however many arrive (a played key frame arrives once per light source).
// While the shown window's view records a movie they wait for the view's next showing of a
// recorded frame (CKXGLView::recordingShowing): the main window is then composed once for
// the view and the palette together, a few times per second, rather than again for every
// recorded frame. Qt's setters repaint a widget only when its value changed.
#ifndef CKX3DTOOLSPALETTE_H
#define CKX3DTOOLSPALETTE_H

#include "KeyFrameRecords.h"

#include <QPointer>
#include <QVector>
#include <QWidget>

#include <functional>

class CKXSampleScene;
class CKXSequenceWindowImpl;
class CKXSourceControlsPanel;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QSlider;
class QTabWidget;
class QTimer;

class CKX3DToolsPalette : public QWidget
{
    Q_OBJECT
public:
    explicit CKX3DToolsPalette(QWidget* pParent = nullptr);

    // The window whose scene is shown (not owned; null shows nothing and disables the controls).
    void setSequenceWindow(CKXSequenceWindowImpl* pWindow);
    CKXSequenceWindowImpl* sequenceWindow() const { return m_pWindow; }
    // Listens to the window's key frame updates and scene changes; only those of the shown
    // window are displayed.
    void watchSequenceWindow(CKXSequenceWindowImpl* pWindow);

    // A key frame is shown rather than the scene.
    bool isShowingKeyFrame() const { return m_bShowingKeyFrame; }
    // The controls the palette shows now (or will show at its next refresh).
    tag_s3Dcontrols displayedControls() const;
    // Times the widgets were brought up to date since construction.
    int refreshCount() const { return m_nRefreshCount; }

public slots:
    void onSignalUpdate3DToolsPalette(SSpKeyFrameAttributes keyFrame, bool bReset);

private slots:
    void onSignalSceneChanged();
    void onSignalRecordingShowing();
    void onSignalMeshCheckStatusChanged();
    void onClickMeshVisible(bool bChecked);
    void onMeshOpacityChanged(int nValue);
    void onClickMeshColor();
    void onMeshRenderActivated(int nIndex);
    void onMeshShadeActivated(int nIndex);
    void onClickPDVisible(bool bChecked);
    void onPDTableActivated(int nIndex);
    void onPDLowChanged(int nValue);
    void onPDHighChanged(int nValue);
    void onClickPDReversed(bool bChecked);
    void onClickPDLog(bool bChecked);
    void onClickOrgansVisible(bool bChecked);
    void onOrganOpacityChanged(int nValue);
    void onOrganRenderActivated(int nIndex);
    void onOrganShadeActivated(int nIndex);
    void onOrganItemChanged(QListWidgetItem* pItem);
    void onSignalSourceSelected(const QString& strSource);
    void onClickMultimodalityVolume(bool bChecked);

private:
    QGroupBox* createMeshGroup();
    QGroupBox* createPDGroup();
    QGroupBox* createOrganGroup();
    void refresh();
    // Refreshes at the next event loop pass (while the shown view records: at its next showing);
    // requests before then add nothing.
    void scheduleRefresh();
    void refreshOrganList(const QMap<QString, bool>& mapOrgans);
    void refreshColorBar(const S3DToolsPDMapData& pdMap);
    // Runs a user's edit on the shown scene (ignored while the palette fills its widgets).
    void editScene(const std::function<void(CKXSampleScene*)>& fnEdit);
    // Reads the scene's controls, lets fnEdit change them and applies the result.
    void editControls(const std::function<void(tag_s3Dcontrols&)>& fnEdit);

    QPointer<CKXSequenceWindowImpl> m_pWindow;
    bool m_bShowingKeyFrame = false;
    SSpKeyFrameAttributes m_sKeyFrame;
    bool m_bUpdating = false;
    QTimer* m_pRefreshTimer;
    bool m_bRefreshAtShowing = false; // a refresh waits for the recording view's next showing
    int m_nRefreshCount = 0;

    QLabel* m_pTitle;
    QLabel* m_pKeyFrameLine; // "key frame at N" while a key frame is shown, else empty
    QTabWidget* m_pPages;
    QCheckBox* m_pMeshVisible = nullptr;
    QSlider* m_pMeshOpacity = nullptr;
    QPushButton* m_pMeshColor = nullptr;
    QComboBox* m_pMeshRender = nullptr;
    QComboBox* m_pMeshShade = nullptr;
    QCheckBox* m_pPDVisible = nullptr;
    QComboBox* m_pPDTable = nullptr;
    QSlider* m_pPDLow = nullptr;
    QSlider* m_pPDHigh = nullptr;
    QCheckBox* m_pPDReversed = nullptr;
    QCheckBox* m_pPDLog = nullptr;
    QLabel* m_pPDColorBar = nullptr;
    // What the colour bar shows (table, low and high percent, reversed): played frames refresh
    // the palette each time, and the bar is drawn again only when one of them changed.
    QVector<int> m_colorBarShown;
    QCheckBox* m_pOrgansVisible = nullptr;
    QSlider* m_pOrganOpacity = nullptr;
    QComboBox* m_pOrganRender = nullptr;
    QComboBox* m_pOrganShade = nullptr;
    QListWidget* m_pOrganList = nullptr;
    CKXSourceControlsPanel* m_pSourcePanel;
    QCheckBox* m_pMultimodalityVolume;
};

#endif // CKX3DTOOLSPALETTE_H
