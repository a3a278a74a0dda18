// The viewer's sequence window: one sequence (a sample subject or an opened dataset) in tabs. "3D
// View" holds the OpenGL view of the sequence's own scene, "Image" a snapshot of that view with the
// photon density range, "Info" a description of the scene's objects.
#ifndef CKXSEQUENCEWINDOWIMPL_H
#define CKXSEQUENCEWINDOWIMPL_H

#include "CKXSSequenceWindow.h"
#include "CKXSceneFile.h"

#include <memory>

class CKXGLView;
class CKXSampleScene;
class CKXSceneToolInfo;
class CKXSDataset;
class QLabel;
class QScrollArea;
class QTabWidget;
class QTextBrowser;

class CKXSequenceWindowImpl : public CKXSSequenceWindow
{
    Q_OBJECT
public:
    // Takes ownership of pSequence and pScene (a sample subject or an opened dataset); pDataset
    // (the study) is not owned. strSubject names what the scene shows (the Info tab says it).
    // The window registers itself as the window of pSequence.
    CKXSequenceWindowImpl(CKXSSequenceDataset* pSequence, CKXSDataset* pDataset,
                          CKXSampleScene* pScene, const QString& strSubject,
                          QWidget* pParent = nullptr);
    ~CKXSequenceWindowImpl() override;

    // CKXSChildWindow
    C3DView* get3DScene() const override;
    C3DSGManager* getSGManager() const override;
    CKXSToolInfo* getToolInfo() const override;
    C3DMesh* getSurfaceMesh() const override;
    C3DVolume* getVolume() const override;
    CKXSSequenceDataset* getSequenceDataset() const override;
    // CKXSSequenceWindow
    QString getCurrentTabName() const override;
    QMap<QString, bool> getOrgansVisibilityMap() const override;

    CKXSampleScene* scene() const { return m_pScene; }
    CKXGLView* glView() const { return m_pView; }
    CKXSDataset* dataset() const { return m_pDataset; }
    // What the user opened to make this window's dataset; empty for a sample subject.
    const QList<SKXOpenRequest>& openRequests() const { return m_listOpenRequests; }
    void setOpenRequests(const QList<SKXOpenRequest>& list) { m_listOpenRequests = list; }
    // The 3D view's size in device pixels (its framebuffer's, what a grab and a recorded movie
    // get), whatever the window's size: a view larger than its tab scrolls. An invalid size
    // makes the view fill its tab again. Follows a change of the device pixel ratio.
    void setViewPixelSize(const QSize& size);
    // The fixed size set, or an invalid size while the view fills its tab.
    QSize viewPixelSize() const { return m_viewPixelSize; }
    // The tab page that holds the 3D view.
    QScrollArea* viewScrollArea() const { return m_pViewScroll; }

    // Makes the tab of that title current (case-insensitive); false when there is none.
    bool setCurrentTab(const QString& strTabName);
    QStringList tabNames() const;

    // The multimodality volume ("GLVolume") is shown; false when the scene has none.
    bool isMultimodalityVolumeVisible() const;
    void setMultimodalityVolumeVisible(bool bVisible);

    // Reads the sample data again: display state, organs and camera as loaded, then announces
    // the change of the 3D view (clearing analysis results).
    void reloadScene();

public slots:
    void onSignal3DViewChanged(bool bClearAnalysisResults) override;
    void updateMeshCheckStatus() override;
    void onReset3DView() override;

signals:
    // The 3D view's content changed (not a camera move); the main window forwards it to every
    // tool plug-in at once.
    void signal3DViewChanged(bool bClearAnalysisResults);
    // The organ check boxes of the tools palette must follow the scene again.
    void signalMeshCheckStatusChanged();
    // The window accepted a close request; it is no longer registered and will be deleted.
    void signalClosing(CKXSequenceWindowImpl* pWindow);

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private slots:
    void onSignalTabChanged(int nIndex);
    void onClickRefreshSnapshot();

private:
    QWidget* createImageTab();
    void refreshInfo();
    void applyViewPixelSize();
    void centreView();

    std::unique_ptr<CKXSSequenceDataset> m_pSequence;
    CKXSDataset* m_pDataset;
    QString m_strSubject;
    CKXSampleScene* m_pScene;
    CKXGLView* m_pView;
    QScrollArea* m_pViewScroll;
    QSize m_viewPixelSize;      // invalid: the view fills its tab
    bool m_bCentreView = false; // a fixed-size view shows its middle until the user scrolls
    std::unique_ptr<CKXSceneToolInfo> m_pToolInfo;
    QTabWidget* m_pTabs;
    QLabel* m_pSnapshotLabel = nullptr;
    QLabel* m_pRangeLabel = nullptr;
    QTextBrowser* m_pInfoBrowser;
    // The display state as loaded, for reloadScene().
    tag_s3Dcontrols m_sLoadedControls;
    QMap<QString, bool> m_mapLoadedOrgans;
    bool m_bLoadedVolumeVisible = false;
    bool m_bClosing = false; // signalClosing was emitted
    QList<SKXOpenRequest> m_listOpenRequests;
};

#endif // CKXSEQUENCEWINDOWIMPL_H
