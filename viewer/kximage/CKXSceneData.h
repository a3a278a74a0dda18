// The scene graph of the sample subject and its display state, private to kximage.
//
// Two views of one state: every node holds what the renderer draws, and `m_controls` holds the
// tools palette's whole tag_s3Dcontrols, including the fields the scene never renders. Each node
// change is written into the controls at once (objectEdited) and applyControls() pushes a whole
// record into the nodes, so currentControls() always describes the picture.
#ifndef CKXSCENEDATA_H
#define CKXSCENEDATA_H

#include "CKXSceneGraph.h"
#include "KeyFrameRecords.h"

#include <QMap>
#include <QMatrix4x4>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class CKXSceneData
{
public:
    explicit CKXSceneData(int nVariant);
    ~CKXSceneData();

    int variant() const { return m_nVariant; }

    // Nodes (owned here).
    CKXMeshObject* mesh() const { return m_pMesh; }
    CKXGroupNode* organGroup() const { return m_pOrganGroup; }
    const std::vector<CKXSurfaceObject*>& organs() const { return m_organs; }
    CKXVolumeObject* multimodalityVolume() const { return m_pGLVolume; }
    CKXVolumeObject* originalVolume() const { return m_pOriginalVolume; }
    CKXSurfaceObject* originalSurface() const { return m_pOriginalSurface; }
    CKXVolumeObject* voxelSource() const { return m_pVoxelSource; }
    CKXGroupNode* surfaceSource() const { return m_pSurfaceSource; }
    std::vector<CKXSurfaceObject*> sourceSurfaces() const; // original's first
    std::vector<CKXVolumeObject*> sourceVolumes() const;   // original's first
    C3DObject* node(const QString& strName) const { return m_nodes.value(strName, nullptr); }
    CKXSurfaceObject* organ(const QString& strName) const;

    QStringList sourceNames() const;
    QStringList organNames() const;

    // The model transform from the anatomical frame (millimetres) to the subject frame: the
    // subject's pose for the default view, centred on the origin. subjectSize() is the length
    // (mm) that the default view shows over 60% of its height.
    const QMatrix4x4& pose() const { return m_pose; }
    float subjectSize() const { return m_fSubjectSize; }

    const tag_s3Dcontrols& controls() const { return m_controls; }
    void applyControls(const tag_s3Dcontrols& controls);
    void setRenderMode(int nMode, const QString& strObjectClass);
    void setShadingMode(int nMode, const QString& strObjectClass);

    // Called by the nodes and the mesh palette after each change.
    void objectEdited(CKXRole eRole, const QString& strSourceKey, const CKXObjectState& state,
                      const CKXVolumeState* pVolume, CKXField eField);
    void paletteEdited(CKXPalette* pPalette);

    // Groups several node changes into one notification.
    void beginBatch() { ++m_nBatch; }
    void endBatch();
    // Set by CKXSampleScene: emits changed().
    std::function<void()> notify;

private:
    void build();
    void changed();
    tag_s3Dcontrols defaultControls() const;
    tag_s3DSourceControls defaultSourceControls(const QString& strName) const;

    template <class T, class... Args> T* make(Args&&... args);

    int m_nVariant;
    std::vector<std::unique_ptr<C3DSGNode>> m_storage;
    QMap<QString, C3DObject*> m_nodes;
    CKXMeshObject* m_pMesh = nullptr;
    CKXGroupNode* m_pOrganGroup = nullptr;
    std::vector<CKXSurfaceObject*> m_organs;
    CKXVolumeObject* m_pGLVolume = nullptr;
    CKXVolumeObject* m_pOriginalVolume = nullptr;
    CKXSurfaceObject* m_pOriginalSurface = nullptr;
    CKXVolumeObject* m_pVoxelSource = nullptr;
    CKXGroupNode* m_pSurfaceSource = nullptr;
    QString m_strVoxelSourceName;
    QString m_strSurfaceSourceName;
    QMatrix4x4 m_pose;
    float m_fSubjectSize = 60.0f;

    tag_s3Dcontrols m_controls;
    bool m_bApplying = false;
    int m_nBatch = 0;
    bool m_bPending = false;
};

#endif // CKXSCENEDATA_H
