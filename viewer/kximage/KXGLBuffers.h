// Small GL buffer helpers shared by the 3D view's drawing units, private to kximage.
#ifndef KXGLBUFFERS_H
#define KXGLBUFFERS_H

#include <QOpenGLFunctions_3_3_Core>

#include <vector>

namespace KXGLBuffers
{
// Uploads xyz positions into vbo as attribute 0 of vao, creating both when vao is 0. Context
// current; leaves no vertex array or array buffer bound.
void uploadPositions(QOpenGLFunctions_3_3_Core& gl, GLuint& vao, GLuint& vbo,
                     const std::vector<float>& positions);
} // namespace KXGLBuffers

#endif // KXGLBUFFERS_H
