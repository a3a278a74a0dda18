// The scene graph built from a scene description and its display state, private to kximage.
//
// One path turns any description into nodes: the subject "3DMesh" (its scalar field is the
// photon density map), the organs under "Organ Surface", the multimodality volume "GLVolume"
// and one entry per light source ("Original": its voxels and first surface; a "SourceVoxels"
// source: its voxels; a "SourceSurface" source: a group of its surfaces). A role the
// description lacks has no node.
//
// Two views of one state: every node holds what the renderer draws, and `m_controls` holds the
// tools palette's whole tag_s3Dcontrols, including the fields the scene never renders. Each node
// change is written into the controls at once (objectEdited) and applyControls() pushes a whole
// record into the nodes, so currentControls() always describes the picture.
#ifndef CKXSCENEDATA_H
#define CKXSCENEDATA_H

#include "CKXSceneGraph.h"
#include "KXSceneDescription.h"
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
    // Copies what it needs: the description may go once this returns. Geometry is shared.
    explicit CKXSceneData(const SKXSceneDescription& description);
    ~CKXSceneData();

    const QString& name() const { return m_strName; }

    // Nodes (owned here); null when the description lacks the role.
    CKXMeshObject* mesh() const { return m_pMesh; }
    CKXGroupNode* organGroup() const { return m_pOrganGroup; } // never null, maybe empty
    const std::vector<CKXSurfaceObject*>& organs() const { return m_organs; }
    CKXVolumeObject* multimodalityVolume() const { return m_pGLVolume; }
    CKXVolumeObject* originalVolume() const;
    CKXSurfaceObject* originalSurface() const;
    CKXVolumeObject* voxelSource() const;                  // the first voxel source by name
    CKXGroupNode* surfaceSource() const;                   // the first surface source by name
    std::vector<CKXSurfaceObject*> sourceSurfaces() const; // the original's first
    std::vector<CKXVolumeObject*> sourceVolumes() const;   // the original's first
    C3DObject* node(const QString& strName) const { return m_nodes.value(strName, nullptr); }
    CKXSurfaceObject* organ(const QString& strName) const;

    QStringList sourceNames() const;
    QStringList organNames() const;

    // The model transform from the world frame (millimetres) to the subject frame: the
    // dataset's bounds centred on the origin and turned by the description's viewOrientation.
    // subjectSize() is the length (mm) that the default view shows over 60% of its height.
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
    // One light source: its nodes and its default display controls.
    struct Source
    {
        QString name;
        CKXVolumeObject* volume = nullptr;
        std::vector<CKXSurfaceObject*> surfaces; // the original's surface or the group's parts
        CKXGroupNode* group = nullptr;           // a surface source's own node
        tag_s3DSourceControls defaults;
    };

    void build(const SKXSceneDescription& description);
    void addSource(const SKXSourceData& source);
    void fitView(const SKXSceneDescription& description);
    QString uniqueName(const QString& strWanted, const QString& strFallback) const;
    void changed();
    tag_s3Dcontrols defaultControls() const;
    const Source* source(const QString& strName) const;

    template <class T, class... Args> T* make(Args&&... args);

    QString m_strName;
    std::vector<std::unique_ptr<C3DSGNode>> m_storage;
    QMap<QString, C3DObject*> m_nodes;
    CKXMeshObject* m_pMesh = nullptr;
    CKXGroupNode* m_pOrganGroup = nullptr;
    std::vector<CKXSurfaceObject*> m_organs;
    CKXVolumeObject* m_pGLVolume = nullptr;
    std::vector<Source> m_sources; // ascending by name
    QMatrix4x4 m_pose;
    float m_fSubjectSize = 60.0f;
    QColor m_subjectColor = QColor(240, 212, 192);
    bool m_bTranslucentSubject = true; // something inside it to see

    tag_s3Dcontrols m_controls;
    bool m_bApplying = false;
    int m_nBatch = 0;
    bool m_bPending = false;
};

#endif // CKXSCENEDATA_H
