// A child window of the host workspace that shows one sequence. Pointers it returns stay owned
// by the window and live as long as it does; any of them may be null.
#ifndef CKXSCHILDWINDOW_H
#define CKXSCHILDWINDOW_H

#include <QWidget>

class C3DView;
class C3DSGManager;
class C3DMesh;
class C3DVolume;
class CKXSToolInfo;
class CKXSSequenceDataset;

class CKXSChildWindow : public QWidget
{
    Q_OBJECT
public:
    explicit CKXSChildWindow(QWidget* parent = nullptr);
    ~CKXSChildWindow() override;

    // The child window that is active in the workspace now, or null.
    static CKXSChildWindow* getActiveChildWnd();

    // The 3D view of this window (also its 3D scene), or null when it has none.
    virtual C3DView* get3DScene() const = 0;
    virtual C3DSGManager* getSGManager() const = 0;
    virtual CKXSToolInfo* getToolInfo() const = 0;
    // The subject's surface mesh ("3DMesh").
    virtual C3DMesh* getSurfaceMesh() const = 0;
    // The volume of the original light source.
    virtual C3DVolume* getVolume() const = 0;
    // The sequence this window shows.
    virtual CKXSSequenceDataset* getSequenceDataset() const = 0;

public slots:
    // Announces a change of the 3D view to the host and its tool plug-ins.
    virtual void onSignal3DViewChanged(bool bClearAnalysisResults) = 0;
    // Brings the organ check boxes of the tools palette in line with the scene.
    virtual void updateMeshCheckStatus() = 0;
    // Resets the 3D view's camera to the default position.
    virtual void onReset3DView() = 0;
};

#endif // CKXSCHILDWINDOW_H
