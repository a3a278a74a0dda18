#include "KXGLBuffers.h"

void KXGLBuffers::uploadPositions(QOpenGLFunctions_3_3_Core& gl, GLuint& vao, GLuint& vbo,
                                  const std::vector<float>& positions)
{
    if (!vao)
    {
        gl.glGenVertexArrays(1, &vao);
        gl.glGenBuffers(1, &vbo);
    }
    gl.glBindVertexArray(vao);
    gl.glBindBuffer(GL_ARRAY_BUFFER, vbo);
    gl.glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(positions.size() * sizeof(float)), positions.data(),
                    GL_STATIC_DRAW);
    gl.glEnableVertexAttribArray(0);
    gl.glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 3 * sizeof(float), nullptr);
    gl.glBindVertexArray(0);
    gl.glBindBuffer(GL_ARRAY_BUFFER, 0);
}
