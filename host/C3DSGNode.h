// A named node of the 3D scene graph.
#ifndef C3DSGNODE_H
#define C3DSGNODE_H

#include <QList>
#include <QString>

class C3DObject;

class C3DSGNode
{
public:
    virtual ~C3DSGNode() = default;
    virtual QString getName() const = 0;
    // The displayable objects below this node, in scene order; owned by the scene graph.
    virtual QList<C3DObject*> getChildren() const = 0;
};

#endif // C3DSGNODE_H
