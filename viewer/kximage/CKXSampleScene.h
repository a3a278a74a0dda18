// The viewer's 3D scene: a scene graph built from a scene description (the built-in sample
// subject or the user's data) and its display state. The tools palette and the tool information
// read and write the whole display state as a tag_s3Dcontrols; the plug-in changes it object by
// object through the C3D* interfaces.
#ifndef CKXSAMPLESCENE_H
#define CKXSAMPLESCENE_H

#include "C3DSGManager.h"
#include "KeyFrameRecords.h"

#include <QMap>
#include <QObject>
#include <QStringList>

class C3DMesh;
class C3DVolume;
class CKXSceneData; // the scene graph and render state, private to kximage
struct SKXSceneDescription;

class CKXSampleScene : public QObject, public C3DSGManager
{
    Q_OBJECT
public:
    // nVariant 0 or 1: two sample subjects that differ in their light sources, so that two
    // sequences can be told apart at a glance.
    explicit CKXSampleScene(int nVariant = 0, QObject* pParent = nullptr);
    // Any description, the empty one included; roles it lacks have no node.
    explicit CKXSampleScene(const SKXSceneDescription& description, QObject* pParent = nullptr);
    ~CKXSampleScene() override;

    // C3DSGManager
    C3DObject* getNode(const QString& strName) const override;
    void setOrganOpacity(float fOpacity) override;
    C3DObject* get3DSource() const override;
    void updateMeshVisibility(const QString& strOrgan, bool bVisible) override;

    // The subject's surface mesh ("3DMesh") and the original source's volume; null when the
    // dataset has none.
    C3DMesh* surfaceMesh() const;
    C3DVolume* originalVolume() const;
    // "Original" and the names of the voxel ("...SourceVoxels...") and surface
    // ("...SourceSurface...") sources, in ascending order.
    QStringList sourceNames() const;
    QStringList organNames() const;
    QMap<QString, bool> organsVisibility() const;

    // The whole display state as the tools palette shows it; sourceControls is keyed by
    // sourceNames(). Fields the scene does not render are kept as last applied.
    tag_s3Dcontrols currentControls() const;
    // Sets the whole display state (a palette edit). Sources not in the scene are ignored.
    void applyControls(const tag_s3Dcontrols& controls);

    // Render modes and shading by object class (PLConstants::_3DMESH or _3DORGANS).
    void setRenderMode(int nMode, const QString& strObjectClass);
    void setShadingMode(int nMode, const QString& strObjectClass);

    CKXSceneData* data() const { return m_pData; }

signals:
    // Any display state changed; views repaint and the palette refreshes.
    void changed();

private:
    CKXSceneData* m_pData;
};

#endif // CKXSAMPLESCENE_H
