#include "CKXGLVolumes.h"

#include "CKXCamera.h"
#include "CKXGLShaders.h"
#include "CKXPalette.h"
#include "CKXSceneData.h"
#include "KXGLBuffers.h"
#include "KXGLShapes.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QtDebug>

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
// The colour table row and how intensities map onto it, alike in both volume programs.
void setColourTable(QOpenGLShaderProgram& p, const CKXVolumeState& vs)
{
    p.setUniformValue("uLog", vs.logScale ? 1.0f : 0.0f);
    p.setUniformValue("uReverse", vs.reversed ? 1.0f : 0.0f);
    p.setUniformValue("uRange", QVector2D(float(vs.colorMin / 100.0), float(vs.colorMax / 100.0)));
    p.setUniformValue("uTableRow",
                      (std::clamp(vs.colorTable, 0, CKXPalette::TableCount - 1) + 0.5f) /
                          CKXPalette::TableCount);
}

// Texture coordinates (0..1 over the grid's outer faces) -> world millimetres.
QMatrix4x4 textureToWorld(const CKXVolumeObject::DenseGrid& g)
{
    QMatrix4x4 m = g.voxelToWorld;
    m.translate(-0.5f, -0.5f, -0.5f);
    m.scale(float(g.nx), float(g.ny), float(g.nz));
    return m;
}
} // namespace

CKXGLVolumes::CKXGLVolumes() = default;

CKXGLVolumes::~CKXGLVolumes()
{
    if (!m_bReady)
        return;
    for (auto& [volume, v] : m_voxels)
    {
        GLuint buffers[3] = {v.instances, v.cubeVbo, v.cubeIbo};
        glDeleteBuffers(3, buffers);
        GLuint vaos[3] = {v.cubeVao, v.sphereVao, v.pointVao};
        glDeleteVertexArrays(3, vaos);
    }
    glDeleteVertexArrays(1, &m_sliceVao);
    GLuint buffers[2] = {m_sphereVbo, m_sliceVbo};
    glDeleteBuffers(2, buffers);
    GLuint textures[2] = {m_tableTexture, m_denseTexture};
    glDeleteTextures(2, textures);
}

bool CKXGLVolumes::initialize()
{
    // The renderer has already said so when the functions are missing.
    if (!initializeOpenGLFunctions())
        return false;
    m_pVoxelProgram = KXGLShaders::voxelProgram();
    m_pSliceProgram = KXGLShaders::sliceProgram();
    if (!m_pVoxelProgram || !m_pSliceProgram)
        return false;

    const std::vector<float> sphere = KXGLShapes::sphereVertices(6, 10);
    m_nSphereVertices = int(sphere.size() / 6);
    glGenBuffers(1, &m_sphereVbo);
    glBindBuffer(GL_ARRAY_BUFFER, m_sphereVbo);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(sphere.size() * sizeof(float)), sphere.data(),
                 GL_STATIC_DRAW);

    // Every colour table as one row of a 256 x N texture.
    std::vector<unsigned char> tables(256 * 4 * CKXPalette::TableCount);
    for (int t = 0; t < CKXPalette::TableCount; ++t)
        CKXPalette::tableBytes(t, &tables[size_t(t) * 256 * 4]);
    glGenTextures(1, &m_tableTexture);
    glBindTexture(GL_TEXTURE_2D, m_tableTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 256, CKXPalette::TableCount, 0, GL_RGBA,
                 GL_UNSIGNED_BYTE, tables.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    m_bReady = true;
    return true;
}

void CKXGLVolumes::drawVoxels(const CKXCamera& camera, const QMatrix4x4& modelView,
                              const CKXVolumeObject& volume)
{
    // Voxels are lit in eye space, as the surfaces are.
    QOpenGLShaderProgram& p = *m_pVoxelProgram;
    p.bind();
    p.setUniformValue("uMVP", camera.projection * modelView);
    p.setUniformValue("uMV", modelView);
    p.setUniformValue("uNormalMat", modelView.normalMatrix());
    p.setUniformValue("uPointPixels", camera.projection(1, 1) * camera.pixelHeight * 0.5f);
    const CKXVolumeObject::SparseVoxels& sv = volume.sparse();
    if (sv.voxels.empty())
        return;
    auto it = m_voxels.find(&volume);
    if (it == m_voxels.end())
    {
        GpuVoxels v;
        v.count = int(sv.voxels.size() / 4);
        glGenBuffers(1, &v.instances);
        glBindBuffer(GL_ARRAY_BUFFER, v.instances);
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(sv.voxels.size() * sizeof(float)),
                     sv.voxels.data(), GL_STATIC_DRAW);
        auto makeVao = [this, &v](GLuint shape, int divisor)
        {
            GLuint vao = 0;
            glGenVertexArrays(1, &vao);
            glBindVertexArray(vao);
            if (shape)
            {
                glBindBuffer(GL_ARRAY_BUFFER, shape);
                glEnableVertexAttribArray(0);
                glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 6 * sizeof(float), nullptr);
                glEnableVertexAttribArray(1);
                glVertexAttribPointer(1, 3, GL_FLOAT, GL_FALSE, 6 * sizeof(float),
                                      reinterpret_cast<void*>(3 * sizeof(float)));
            }
            glBindBuffer(GL_ARRAY_BUFFER, v.instances);
            glEnableVertexAttribArray(3);
            glVertexAttribPointer(3, 4, GL_FLOAT, GL_FALSE, 4 * sizeof(float), nullptr);
            glVertexAttribDivisor(3, GLuint(divisor));
            glBindVertexArray(0);
            return vao;
        };
        v.sphereVao = makeVao(m_sphereVbo, 1);

        // Cubes written out: per voxel its 24 face corners (corner, normal, voxel) and 36
        // indices, brightest voxel first like the voxels themselves.
        const std::vector<float> cube = KXGLShapes::cubeVertices(); // 6 faces x (c0 c1 c2 c0 c2 c3)
        const int faceCorner[4] = {0, 1, 2, 5};
        const unsigned faceIndex[6] = {0, 1, 2, 0, 2, 3};
        std::vector<float> vertices;
        std::vector<unsigned> indices;
        vertices.reserve(size_t(v.count) * 24 * 10);
        indices.reserve(size_t(v.count) * 36);
        for (int i = 0; i < v.count; ++i)
        {
            const float* voxel = &sv.voxels[4 * size_t(i)];
            for (int f = 0; f < 6; ++f)
            {
                const unsigned base = unsigned(vertices.size() / 10);
                for (int k : faceCorner)
                {
                    const float* c = &cube[size_t(6 * (6 * f + k))];
                    vertices.insert(vertices.end(), {c[0], c[1], c[2], c[3], c[4], c[5], voxel[0],
                                                     voxel[1], voxel[2], voxel[3]});
                }
                for (unsigned k : faceIndex)
                    indices.push_back(base + k);
            }
        }
        glGenVertexArrays(1, &v.cubeVao);
        glGenBuffers(1, &v.cubeVbo);
        glGenBuffers(1, &v.cubeIbo);
        glBindVertexArray(v.cubeVao);
        glBindBuffer(GL_ARRAY_BUFFER, v.cubeVbo);
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(vertices.size() * sizeof(float)), vertices.data(),
                     GL_STATIC_DRAW);
        const GLsizei stride = 10 * sizeof(float);
        glEnableVertexAttribArray(0);
        glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, stride, nullptr);
        glEnableVertexAttribArray(1);
        glVertexAttribPointer(1, 3, GL_FLOAT, GL_FALSE, stride,
                              reinterpret_cast<void*>(3 * sizeof(float)));
        glEnableVertexAttribArray(3);
        glVertexAttribPointer(3, 4, GL_FLOAT, GL_FALSE, stride,
                              reinterpret_cast<void*>(6 * sizeof(float)));
        glVertexAttribDivisor(3, 0);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, v.cubeIbo);
        glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(indices.size() * sizeof(unsigned)),
                     indices.data(), GL_STATIC_DRAW);
        glBindVertexArray(0);
        v.pointVao = makeVao(0, 0);
        glBindBuffer(GL_ARRAY_BUFFER, 0);
        it = m_voxels.emplace(&volume, v).first;
    }
    const GpuVoxels& v = it->second;
    const CKXVolumeState& vs = volume.volumeState();
    const int count = std::min(volume.visibleVoxelCount(), v.count);
    if (count <= 0)
        return;
    const int type = std::clamp(vs.voxelType, 0, 2);
    const float size = type == 2 ? sv.voxelSize * 1.25f : sv.voxelSize;
    p.setUniformValue("uVoxelSize", size);
    p.setUniformValue("uUnitSize", sv.voxelSize * camera.unitsPerMm);
    p.setUniformValue("uThreshold", vs.thresholding ? vs.threshold : -1e30f);
    p.setUniformValue("uIntensityMax", volume.intensityMax());
    setColourTable(p, vs);
    p.setUniformValue("uOpacity", std::clamp(vs.voxelOpacity, 0.0f, 1.0f));
    p.setUniformValue("uGlow", vs.mip ? 1.0f : (type == 1 ? 0.4f : 0.22f));
    p.setUniformValue("uPoints", type == 1 ? 1.0f : 0.0f);
    p.setUniformValue("uTables", 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_tableTexture);

    // Glow: premultiplied colours added up; MIP keeps the brightest voxel along each ray.
    if (vs.mip)
        glBlendEquation(GL_MAX);
    else
        glBlendEquation(GL_FUNC_ADD);
    glBlendFunc(GL_ONE, GL_ONE);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    if (type == 1)
    {
        glBindVertexArray(v.pointVao);
        QOpenGLContext::currentContext()->functions()->glVertexAttrib3f(0, 0.f, 0.f, 0.f);
        QOpenGLContext::currentContext()->functions()->glVertexAttrib3f(1, 0.f, 0.f, 1.f);
        glDrawArrays(GL_POINTS, 0, count);
    }
    else if (type == 2)
    {
        glBindVertexArray(v.sphereVao);
        glDrawArraysInstanced(GL_TRIANGLES, 0, m_nSphereVertices, count);
    }
    else
    {
        glBindVertexArray(v.cubeVao);
        glDrawElements(GL_TRIANGLES, 36 * count, GL_UNSIGNED_INT, nullptr);
    }
    glBindVertexArray(0);
    glDisable(GL_CULL_FACE);
    glBlendEquation(GL_FUNC_ADD);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void CKXGLVolumes::ensureDenseTexture(const CKXVolumeObject& volume)
{
    if (m_pDenseSource == &volume && m_denseTexture)
        return;
    const CKXVolumeObject::DenseGrid& g = volume.dense();
    if (!m_denseTexture)
        glGenTextures(1, &m_denseTexture);
    glBindTexture(GL_TEXTURE_3D, m_denseTexture);
    GLint maxSide = 0;
    glGetIntegerv(GL_MAX_3D_TEXTURE_SIZE, &maxSide);
    if (g.nx > maxSide || g.ny > maxSide || g.nz > maxSide)
    {
        // Drawn as nothing rather than as whatever the failed upload leaves behind.
        qWarning("CKXGLVolumes: a %d x %d x %d volume exceeds this GL's 3D textures (%d)", g.nx,
                 g.ny, g.nz, int(maxSide));
        const unsigned char zero = 0;
        glTexImage3D(GL_TEXTURE_3D, 0, GL_R8, 1, 1, 1, 0, GL_RED, GL_UNSIGNED_BYTE, &zero);
    }
    else
    {
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage3D(GL_TEXTURE_3D, 0, GL_R8, g.nx, g.ny, g.nz, 0, GL_RED, GL_UNSIGNED_BYTE,
                     g.density.data());
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    }
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_3D, 0);

    // Slice quads in texture coordinates for the three grid axes, in ascending order along
    // each: i slices first, then j, then k. Each slice sits at a voxel centre; the slice
    // program maps them to the world through the grid's affine, so oblique grids are sliced
    // along their own axes.
    std::vector<float> quads;
    const int counts[3] = {g.nx, g.ny, g.nz};
    for (int axis = 0; axis < 3; ++axis)
    {
        const int a1 = (axis + 1) % 3, a2 = (axis + 2) % 3;
        for (int i = 0; i < counts[axis]; ++i)
        {
            const float s = (i + 0.5f) / counts[axis];
            QVector3D c[4];
            for (int k = 0; k < 4; ++k)
            {
                c[k][axis] = s;
                c[k][a1] = (k == 1 || k == 2) ? 1.0f : 0.0f;
                c[k][a2] = (k >= 2) ? 1.0f : 0.0f;
            }
            for (int k : {0, 1, 2, 0, 2, 3})
                quads.insert(quads.end(), {c[k].x(), c[k].y(), c[k].z()});
        }
    }
    KXGLBuffers::uploadPositions(*this, m_sliceVao, m_sliceVbo, quads);
    m_pDenseSource = &volume;
}

void CKXGLVolumes::drawDense(const CKXCamera& camera, const QMatrix4x4& modelView,
                             const CKXVolumeObject& volume)
{
    QOpenGLShaderProgram& p = *m_pSliceProgram;
    p.bind();
    if (!volume.isDense())
        return;
    ensureDenseTexture(volume);
    const CKXVolumeObject::DenseGrid& g = volume.dense();
    const CKXVolumeState& vs = volume.volumeState();
    const QVector3D eyeInModel = modelView.inverted().map(QVector3D(0, 0, 0));

    // Which grid axis to slice along: the one whose slice planes face the eye most squarely.
    // Planes of constant index stay parallel under the affine, so the eye's index coordinate
    // orders them from the far side towards the eye.
    const QMatrix4x4& m = g.voxelToWorld;
    const QVector3D col[3] = {m.column(0).toVector3D(), m.column(1).toVector3D(),
                              m.column(2).toVector3D()};
    const QVector3D centre = m.map(0.5f * QVector3D(g.nx - 1, g.ny - 1, g.nz - 1));
    const QVector3D dir = (eyeInModel - centre).normalized();
    int axis = 0;
    float best = -1.0f;
    QVector3D normals[3];
    for (int k = 0; k < 3; ++k)
    {
        normals[k] = QVector3D::crossProduct(col[(k + 1) % 3], col[(k + 2) % 3]).normalized();
        const float f = std::abs(QVector3D::dotProduct(normals[k], dir));
        if (f > best)
        {
            best = f;
            axis = k;
        }
    }
    const int counts[3] = {g.nx, g.ny, g.nz};
    int first = 0;
    for (int k = 0; k < axis; ++k)
        first += counts[k];
    const int n = counts[axis];
    // Millimetres between neighbouring slices.
    const float spacing = std::abs(QVector3D::dotProduct(normals[axis], col[axis]));
    const QVector3D eyeIndex = m.inverted().map(eyeInModel);
    const QVector3D centreIndex = 0.5f * QVector3D(g.nx - 1, g.ny - 1, g.nz - 1);

    p.setUniformValue("uMVP", camera.projection * modelView * textureToWorld(g));
    p.setUniformValue("uThreshold", vs.thresholding ? vs.threshold / 255.0f : 0.0f);
    p.setUniformValue("uOpacity", std::clamp(vs.voxelOpacity, 0.0f, 1.0f));
    p.setUniformValue("uSpacing", spacing);
    setColourTable(p, vs);
    p.setUniformValue("uVolume", 0);
    p.setUniformValue("uTables", 1);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_3D, m_denseTexture);
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, m_tableTexture);
    glBlendEquation(GL_FUNC_ADD);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    glDisable(GL_CULL_FACE);
    glBindVertexArray(m_sliceVao);
    // Eye on the + side of the axis: far slices have small indices.
    const bool ascending = eyeIndex[axis] > centreIndex[axis];
    for (int i = 0; i < n; ++i)
    {
        const int slice = ascending ? i : n - 1 - i;
        glDrawArrays(GL_TRIANGLES, 6 * (first + slice), 6);
    }
    glBindVertexArray(0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_3D, 0);
}
