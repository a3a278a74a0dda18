// The scene-graph manager of a child window: named nodes, organs and light sources.
#ifndef C3DSGMANAGER_H
#define C3DSGMANAGER_H

#include <QString>

class C3DObject;

class C3DSGManager
{
public:
    virtual ~C3DSGManager() = default;
    // The node of that exact name ("GLVolume", a source name, ...), or null.
    virtual C3DObject* getNode(const QString& strName) const = 0;
    // Opacity of all organ surfaces, 0..1.
    virtual void setOrganOpacity(float fOpacity) = 0;
    // The original light source's surface, or null.
    virtual C3DObject* get3DSource() const = 0;
    // Shows or hides the organ surface of that name.
    virtual void updateMeshVisibility(const QString& strOrgan, bool bVisible) = 0;
};

#endif // C3DSGMANAGER_H
