// The shader programs of the 3D view's renderer (GLSL 3.30 core). Each call compiles and links
// a new program in the current GL context and returns it to the caller, who owns it; null
// means the driver refused it (the reason goes to the Qt warning log).
#ifndef CKXGLSHADERS_H
#define CKXGLSHADERS_H

#include <memory>

class QOpenGLShaderProgram;

namespace KXGLShaders
{
// Lit surfaces: meshes, organs and source surfaces, with optional per-vertex colours. The peel
// variant keeps only fragments behind the depth texture "uPeelDepth" and writes each kept
// fragment's window depth to a second colour output (location 1).
std::unique_ptr<QOpenGLShaderProgram> surfaceProgram(bool bPeel = false);
// Instanced voxel cubes / points of a source volume, thresholded in the vertex stage.
std::unique_ptr<QOpenGLShaderProgram> voxelProgram();
// Axis-aligned slices through a dense volume, blended back to front.
std::unique_ptr<QOpenGLShaderProgram> sliceProgram();
// Full-view copy of texture "uImage", premultiplied by its alpha when "uPremultiply" is 1.
// The split variant writes each texel to output 0 where the depth texture "uDepth" is below
// "uSplit" (a window depth, 0..1), to output 1 elsewhere, and transparent black to the other.
std::unique_ptr<QOpenGLShaderProgram> compositeProgram(bool bSplit = false);
// The full-view background gradient.
std::unique_ptr<QOpenGLShaderProgram> backgroundProgram();
} // namespace KXGLShaders

#endif // CKXGLSHADERS_H
