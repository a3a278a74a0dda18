#include "CKXGLRenderer.h"

#include "CKXGLShaders.h"
#include "CKXGLTranslucency.h"
#include "CKXPalette.h"
#include "CKXSceneData.h"
#include "KXGLShapes.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QtDebug>

#include <algorithm>
#include <cmath>
#include <vector>

struct CKXGLRenderer::GpuMesh
{
    GLuint vao = 0, vbo = 0, ibo = 0, cbo = 0;
    int indexCount = 0;
    int vertexCount = 0;
    unsigned colorVersion = 0;
};

struct CKXGLRenderer::Item
{
    enum Kind
    {
        Mesh,
        Organ,
        SourceSurface,
        Voxels,
        Dense
    } kind;
    const void* object;
    float depth; // eye-space z of the sort point (more negative = farther)
    int pass;    // surfaces: 0 all faces, 1 back faces only, 2 front faces only
};

CKXGLRenderer::CKXGLRenderer(CKXSceneData* pScene) : m_pScene(pScene)
{
}

CKXGLRenderer::~CKXGLRenderer()
{
    if (!m_bReady)
        return;
    for (auto& [geometry, gpu] : m_meshes)
    {
        glDeleteVertexArrays(1, &gpu->vao);
        glDeleteBuffers(1, &gpu->vbo);
        glDeleteBuffers(1, &gpu->ibo);
        if (gpu->cbo)
            glDeleteBuffers(1, &gpu->cbo);
    }
    for (auto& [volume, v] : m_voxels)
    {
        GLuint buffers[3] = {v.instances, v.cubeVbo, v.cubeIbo};
        glDeleteBuffers(3, buffers);
        GLuint vaos[3] = {v.cubeVao, v.sphereVao, v.pointVao};
        glDeleteVertexArrays(3, vaos);
    }
    GLuint vaos[3] = {m_emptyVao, m_boxVao, m_sliceVao};
    glDeleteVertexArrays(3, vaos);
    GLuint buffers[3] = {m_boxVbo, m_sphereVbo, m_sliceVbo};
    glDeleteBuffers(3, buffers);
    GLuint textures[2] = {m_tableTexture, m_denseTexture};
    glDeleteTextures(2, textures);
}

bool CKXGLRenderer::initialize()
{
    if (!initializeOpenGLFunctions())
    {
        qWarning("CKXGLRenderer: OpenGL 3.3 core functions are not available");
        return false;
    }
    m_pSurfaceProgram = KXGLShaders::surfaceProgram();
    m_pVoxelProgram = KXGLShaders::voxelProgram();
    m_pSliceProgram = KXGLShaders::sliceProgram();
    m_pBackgroundProgram = KXGLShaders::backgroundProgram();
    if (!m_pSurfaceProgram || !m_pVoxelProgram || !m_pSliceProgram || !m_pBackgroundProgram)
        return false;
    m_pSurface = m_pSurfaceProgram.get();
    // Without it translucent objects are sorted whole, as they were before it existed.
    m_pTranslucency = std::make_unique<CKXGLTranslucency>();
    if (!m_pTranslucency->initialize())
        m_pTranslucency.reset();

    glGenVertexArrays(1, &m_emptyVao);

    // Bounding box edges of the unit cube [0, 1]^3.
    std::vector<float> box;
    for (int a = 0; a < 3; ++a)
        for (int i = 0; i < 4; ++i)
        {
            float p[3], q[3];
            const int b = (a + 1) % 3, c = (a + 2) % 3;
            p[a] = 0;
            q[a] = 1;
            p[b] = q[b] = float(i & 1);
            p[c] = q[c] = float(i >> 1);
            box.insert(box.end(), {p[0], p[1], p[2], q[0], q[1], q[2]});
        }
    uploadPositions(m_boxVao, m_boxVbo, box);

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

CKXGLRenderer::GpuMesh& CKXGLRenderer::gpuMesh(const CKXGeometry& g)
{
    auto it = m_meshes.find(&g);
    if (it != m_meshes.end())
        return *it->second;
    auto gpu = std::make_unique<GpuMesh>();
    std::vector<float> interleaved(g.positions.size() * 2);
    for (int v = 0; v < g.vertexCount(); ++v)
        for (int k = 0; k < 3; ++k)
        {
            interleaved[6 * v + k] = g.positions[3 * v + k];
            interleaved[6 * v + 3 + k] = g.normals[3 * v + k];
        }
    glGenVertexArrays(1, &gpu->vao);
    glGenBuffers(1, &gpu->vbo);
    glGenBuffers(1, &gpu->ibo);
    glBindVertexArray(gpu->vao);
    glBindBuffer(GL_ARRAY_BUFFER, gpu->vbo);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(interleaved.size() * sizeof(float)),
                 interleaved.data(), GL_STATIC_DRAW);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 6 * sizeof(float), nullptr);
    glEnableVertexAttribArray(1);
    glVertexAttribPointer(1, 3, GL_FLOAT, GL_FALSE, 6 * sizeof(float),
                          reinterpret_cast<void*>(3 * sizeof(float)));
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, gpu->ibo);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(g.indices.size() * sizeof(unsigned)),
                 g.indices.data(), GL_STATIC_DRAW);
    glBindVertexArray(0);
    gpu->indexCount = int(g.indices.size());
    gpu->vertexCount = g.vertexCount();
    GpuMesh& ref = *gpu;
    m_meshes.emplace(&g, std::move(gpu));
    return ref;
}

CKXGLRenderer::GpuMesh& CKXGLRenderer::gpuMesh(const CKXMeshObject& mesh, bool farSide)
{
    GpuMesh& gpu = gpuMesh(farSide ? *mesh.farSideProxy() : mesh.geometry());
    if (!gpu.cbo)
    {
        glGenBuffers(1, &gpu.cbo);
        glBindVertexArray(gpu.vao);
        glBindBuffer(GL_ARRAY_BUFFER, gpu.cbo);
        glEnableVertexAttribArray(2);
        glVertexAttribPointer(2, 4, GL_UNSIGNED_BYTE, GL_TRUE, 4, nullptr);
        glBindVertexArray(0);
    }
    if (gpu.colorVersion != mesh.colorVersion())
    {
        const std::vector<unsigned char>& colors =
            farSide ? mesh.proxyColors() : mesh.vertexColors();
        glBindBuffer(GL_ARRAY_BUFFER, gpu.cbo);
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(colors.size()), colors.data(), GL_DYNAMIC_DRAW);
        glBindBuffer(GL_ARRAY_BUFFER, 0);
        gpu.colorVersion = mesh.colorVersion();
    }
    return gpu;
}

void CKXGLRenderer::drawBackground(const CKXCamera&)
{
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_BLEND);
    m_pBackgroundProgram->bind();
    glBindVertexArray(m_emptyVao);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    glBindVertexArray(0);
    glEnable(GL_DEPTH_TEST);
}

void CKXGLRenderer::render(const CKXCamera& camera)
{
    GLint target = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &target);
    m_nLastLayers = 0;
    glViewport(0, 0, camera.pixelWidth, camera.pixelHeight);
    glClearColor(0.05f, 0.06f, 0.08f, 1.0f);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    if (!m_bReady)
        return;
    drawBackground(camera);

    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glEnable(GL_PROGRAM_POINT_SIZE);
    glDisable(GL_CULL_FACE);
    glFrontFace(GL_CCW);

    const CKXSceneData& scene = *m_pScene;
    QMatrix4x4 model;
    model.scale(camera.unitsPerMm);
    model *= scene.pose();
    const QMatrix4x4 modelView = camera.view * model;
    auto eyeDepth = [&modelView](const QVector3D& p) { return modelView.map(p).z(); };
    const float mmToEye = camera.unitsPerMm;

    std::vector<Item> opaque;
    std::vector<Item> blended;
    auto addSurface = [&](Item::Kind kind, const void* object, const CKXGeometry& g,
                          const CKXObjectState& st, float opacity)
    {
        if (opacity <= 0.001f)
            return;
        const float z = eyeDepth(g.centre());
        const bool solid = st.drawMode >= 2 && st.shadeMode != 0;
        if (opacity >= 0.999f && st.shadeMode != 0)
            opaque.push_back({kind, object, z, 0});
        else if (solid)
        {
            // The body encloses everything else: its back faces go behind and its front faces
            // in front of all of it. Organs and source surfaces enclose nothing, so their two
            // halves stay together at their centre; their far side barely shows through a
            // fairly opaque near side and is left out then.
            const bool body = kind == Item::Mesh;
            const float r = body ? g.radius() * mmToEye : 1e-3f;
            if (body || opacity < 0.6f)
                blended.push_back({kind, object, z - r, 1});
            blended.push_back({kind, object, z + r, 2});
        }
        else
            blended.push_back({kind, object, z, 0});
    };

    const CKXMeshObject* mesh = scene.mesh();
    if (mesh && mesh->isDisplayed())
        addSurface(Item::Mesh, mesh, mesh->geometry(), mesh->state(), mesh->state().opacity);
    if (scene.organGroup()->isDisplayed())
        for (const CKXSurfaceObject* o : scene.organs())
            if (o->isDisplayed())
                addSurface(Item::Organ, o, o->geometry(), o->state(), o->state().opacity);
    for (const CKXSurfaceObject* s : scene.sourceSurfaces())
        if (s->isDisplayed())
            addSurface(Item::SourceSurface, s, s->geometry(), s->state(), s->state().opacity);
    for (const CKXVolumeObject* v : scene.sourceVolumes())
        if (v->isDisplayed() && v->volumeState().voxelOpacity > 0.001f)
            blended.push_back({Item::Voxels, v, eyeDepth(v->centre()), 0});
    const CKXVolumeObject* gl = scene.multimodalityVolume();
    if (gl && gl->isDisplayed() && gl->volumeState().voxelOpacity > 0.001f)
        blended.push_back({Item::Dense, gl, eyeDepth(gl->centre()), 0});

    std::stable_sort(blended.begin(), blended.end(),
                     [](const Item& a, const Item& b) { return a.depth < b.depth; });

    const QMatrix4x4 mvp = camera.projection * modelView;
    m_mvp = mvp;
    m_eyeInModel = modelView.inverted().map(QVector3D(0, 0, 0));
    // Surfaces and voxels are lit in eye space: both programs take the same camera matrices.
    auto bindWithCamera = [&](QOpenGLShaderProgram& program)
    {
        program.bind();
        program.setUniformValue("uMVP", mvp);
        program.setUniformValue("uMV", modelView);
        program.setUniformValue("uNormalMat", modelView.normalMatrix());
    };

    auto drawItem = [&](const Item& item)
    {
        switch (item.kind)
        {
        case Item::Mesh:
        {
            const auto* m = static_cast<const CKXMeshObject*>(item.object);
            bindWithCamera(*m_pSurface);
            if (m->state().shadeMode == 0)
                drawBox(camera, m->geometry(), m->state().color, m->state().opacity);
            else
            {
                const bool pd = m->isPhotonDensityShown() && m->isPhotonDensityMappingValid();
                // The far side of the translucent body is seen through the near side only:
                // drawn from the coarser copy, it costs a quarter.
                const bool farSide = item.pass == 1 && m->farSideProxy();
                // Translucent skin glows faintly, as if lit from inside.
                const float glow = m->state().opacity < 0.999f ? 0.12f : 0.0f;
                drawSurface(camera, farSide ? *m->farSideProxy() : m->geometry(),
                            gpuMesh(*m, farSide), m->state(), m->state().opacity, pd, glow,
                            item.pass);
            }
            break;
        }
        case Item::Organ:
        case Item::SourceSurface:
        {
            const auto* s = static_cast<const CKXSurfaceObject*>(item.object);
            bindWithCamera(*m_pSurface);
            if (s->state().shadeMode == 0)
                drawBox(camera, s->geometry(), s->state().color, s->state().opacity);
            else
                drawSurface(camera, s->geometry(), gpuMesh(s->geometry()), s->state(),
                            s->state().opacity, false, s->emission(), item.pass);
            break;
        }
        case Item::Voxels:
        {
            bindWithCamera(*m_pVoxelProgram);
            m_pVoxelProgram->setUniformValue("uPointPixels",
                                             camera.projection(1, 1) * camera.pixelHeight * 0.5f);
            drawVoxels(camera, *static_cast<const CKXVolumeObject*>(item.object));
            break;
        }
        case Item::Dense:
        {
            m_pSliceProgram->bind();
            drawDense(camera, *static_cast<const CKXVolumeObject*>(item.object));
            break;
        }
        }
    };

    glDisable(GL_BLEND);
    glDepthMask(GL_TRUE);
    for (const Item& item : opaque)
        drawItem(item);

    glEnable(GL_BLEND);
    glDepthMask(GL_FALSE);
    auto isSurface = [](const Item& item) { return item.kind <= Item::SourceSurface; };
    auto screenArea = [&](const Item& item)
    {
        const CKXGeometry& g = item.kind == Item::Mesh
                                   ? static_cast<const CKXMeshObject*>(item.object)->geometry()
                                   : static_cast<const CKXSurfaceObject*>(item.object)->geometry();
        return CKXGLTranslucency::screenArea(mvp, g.boxMin, g.boxMax, camera.pixelWidth,
                                             camera.pixelHeight);
    };
    auto blendOver = [this]
    {
        glBlendEquation(GL_FUNC_ADD);
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    };
    if (m_bOrderIndependent && m_pTranslucency &&
        std::any_of(blended.begin(), blended.end(), isSurface))
    {
        // All surfaces peeled at once, the volumes drawn back to front between the surface
        // fragments behind and in front of the plane through their mean centre: one pass per
        // layer however many volumes there are (peeling the runs of surfaces between volumes
        // separately cost a pass per layer and run).
        QRect area;
        float volumeDepth = 0;
        int nVolumes = 0;
        for (const Item& item : blended)
            if (isSurface(item))
                area |= screenArea(item);
            else
            {
                volumeDepth += item.depth;
                ++nVolumes;
            }
        float split = 2.0f;
        if (nVolumes > 0)
        {
            const QVector4D clip =
                camera.projection * QVector4D(0.0f, 0.0f, volumeDepth / nVolumes, 1.0f);
            // Behind the eye: every surface lies beyond the volumes.
            split =
                clip.w() > 0.0f ? std::clamp(0.5f * clip.z() / clip.w() + 0.5f, 0.0f, 1.0f) : 0.0f;
        }
        m_pSurface = m_pTranslucency->peelProgram();
        const bool peeled = m_pTranslucency->draw(
            GLuint(target), camera.pixelWidth, camera.pixelHeight, area,
            [&]
            {
                for (const Item& item : blended)
                    if (isSurface(item))
                        drawItem(item);
            },
            split,
            [&]
            {
                for (const Item& item : blended)
                    if (!isSurface(item))
                    {
                        blendOver();
                        drawItem(item);
                    }
            });
        m_pSurface = m_pSurfaceProgram.get();
        if (peeled)
        {
            m_nLastLayers = m_pTranslucency->lastLayerCount();
            blended.clear();
        }
    }
    // Sorted whole: no surfaces, peeling off, or its buffers not to be had.
    for (const Item& item : blended)
    {
        blendOver();
        drawItem(item);
    }
    glBlendEquation(GL_FUNC_ADD);
    glDepthMask(GL_TRUE);
    glDisable(GL_BLEND);
    glDisable(GL_CULL_FACE);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glBindVertexArray(0);
    // The window composes the view's framebuffer by its alpha, and the glow and the layers
    // leave alpha below 1 here and there: the picture is opaque whatever the blending left.
    glDisable(GL_SCISSOR_TEST);
    glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_TRUE);
    glClear(GL_COLOR_BUFFER_BIT);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
}

void CKXGLRenderer::drawSurface(const CKXCamera&, const CKXGeometry& g, GpuMesh& gpu,
                                const CKXObjectState& st, float opacity, bool useVertexColors,
                                float emission, int pass)
{
    QOpenGLShaderProgram& p = *m_pSurface;
    const QColor c = st.color;
    p.setUniformValue("uColor", QVector4D(float(c.redF()), float(c.greenF()), float(c.blueF()),
                                          std::clamp(opacity, 0.0f, 1.0f)));
    p.setUniformValue("uVertexColors", useVertexColors ? 1.0f : 0.0f);
    p.setUniformValue("uShade", std::clamp(st.shadeMode, 1, 3));
    p.setUniformValue("uEmission", emission);
    p.setUniformValue("uRim", 0.8f);
    p.setUniformValue("uDarken", 1.0f);
    p.setUniformValue("uPointSize", 2.0f);
    glBindVertexArray(gpu.vao);
    if (!useVertexColors)
        glDisableVertexAttribArray(2);
    else
        glEnableVertexAttribArray(2);
    QOpenGLContext::currentContext()->functions()->glVertexAttrib4f(2, 0.f, 0.f, 0.f, 0.f);

    if (pass == 1 || pass == 2)
    {
        glEnable(GL_CULL_FACE);
        glCullFace(pass == 1 ? GL_FRONT : GL_BACK);
    }
    else
        glDisable(GL_CULL_FACE);

    switch (st.drawMode)
    {
    case 0:
        glDrawArrays(GL_POINTS, 0, gpu.vertexCount);
        break;
    case 1:
        glPolygonMode(GL_FRONT_AND_BACK, GL_LINE);
        glDrawElements(GL_TRIANGLES, gpu.indexCount, GL_UNSIGNED_INT, nullptr);
        glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
        break;
    case 3:
        glEnable(GL_POLYGON_OFFSET_FILL);
        glPolygonOffset(1.0f, 1.0f);
        glDrawElements(GL_TRIANGLES, gpu.indexCount, GL_UNSIGNED_INT, nullptr);
        glDisable(GL_POLYGON_OFFSET_FILL);
        {
            // The wire is a darker, half-transparent overlay: on a fine mesh a solid wire
            // would hide the surface altogether.
            // While peeling, the wire is a layer of its own in front of the fill: blending it
            // here would mix the layer's depth output too.
            const GLboolean blending = glIsEnabled(GL_BLEND);
            if (m_pSurface == m_pSurfaceProgram.get())
                glEnable(GL_BLEND);
            glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
            p.setUniformValue("uDarken", 0.5f);
            p.setUniformValue("uColor", QVector4D(float(c.redF()), float(c.greenF()),
                                                  float(c.blueF()), 0.4f * opacity));
            glPolygonMode(GL_FRONT_AND_BACK, GL_LINE);
            glDrawElements(GL_TRIANGLES, gpu.indexCount, GL_UNSIGNED_INT, nullptr);
            glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
            if (!blending)
                glDisable(GL_BLEND);
        }
        break;
    default:
        glDrawElements(GL_TRIANGLES, gpu.indexCount, GL_UNSIGNED_INT, nullptr);
        break;
    }
    glDisable(GL_CULL_FACE);
    glBindVertexArray(0);
    Q_UNUSED(g);
}

void CKXGLRenderer::drawBox(const CKXCamera&, const CKXGeometry& g, const QColor& color,
                            float opacity)
{
    QOpenGLShaderProgram& p = *m_pSurface;
    // The box's own model matrix: unit cube -> bounding box, inside the scene's transform.
    QMatrix4x4 boxModel;
    boxModel.translate(g.boxMin);
    boxModel.scale(g.boxMax - g.boxMin);
    p.setUniformValue("uMVP", m_mvp * boxModel);
    p.setUniformValue("uColor", QVector4D(float(color.redF()), float(color.greenF()),
                                          float(color.blueF()), std::max(opacity, 0.35f)));
    p.setUniformValue("uVertexColors", 0.0f);
    p.setUniformValue("uShade", 1);
    p.setUniformValue("uEmission", 0.0f);
    p.setUniformValue("uRim", 0.0f);
    p.setUniformValue("uDarken", 1.0f);
    glBindVertexArray(m_boxVao);
    QOpenGLContext::currentContext()->functions()->glVertexAttrib3f(1, 0.f, 0.f, 1.f);
    QOpenGLContext::currentContext()->functions()->glVertexAttrib4f(2, 0.f, 0.f, 0.f, 0.f);
    glDrawArrays(GL_LINES, 0, 24);
    glBindVertexArray(0);
    p.setUniformValue("uMVP", m_mvp);
}

void CKXGLRenderer::drawVoxels(const CKXCamera& camera, const CKXVolumeObject& volume)
{
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
    QOpenGLShaderProgram& p = *m_pVoxelProgram;
    const int type = std::clamp(vs.voxelType, 0, 2);
    const float size = type == 2 ? sv.voxelSize * 1.25f : sv.voxelSize;
    p.setUniformValue("uVoxelSize", size);
    p.setUniformValue("uUnitSize", sv.voxelSize * camera.unitsPerMm);
    p.setUniformValue("uThreshold", vs.thresholding ? vs.threshold : -1e30f);
    p.setUniformValue("uIntensityMax", volume.intensityMax());
    p.setUniformValue("uLog", vs.logScale ? 1.0f : 0.0f);
    p.setUniformValue("uReverse", vs.reversed ? 1.0f : 0.0f);
    p.setUniformValue("uRange", QVector2D(float(vs.colorMin / 100.0), float(vs.colorMax / 100.0)));
    p.setUniformValue("uTableRow",
                      (std::clamp(vs.colorTable, 0, CKXPalette::TableCount - 1) + 0.5f) /
                          CKXPalette::TableCount);
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

namespace
{
// Texture coordinates (0..1 over the grid's outer faces) -> world millimetres.
QMatrix4x4 textureToWorld(const CKXVolumeObject::DenseGrid& g)
{
    QMatrix4x4 m = g.voxelToWorld;
    m.translate(-0.5f, -0.5f, -0.5f);
    m.scale(float(g.nx), float(g.ny), float(g.nz));
    return m;
}
} // namespace

void CKXGLRenderer::ensureDenseTexture(const CKXVolumeObject& volume)
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
        qWarning("CKXGLRenderer: a %d x %d x %d volume exceeds this GL's 3D textures (%d)", g.nx,
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
    uploadPositions(m_sliceVao, m_sliceVbo, quads);
    m_pDenseSource = &volume;
}

void CKXGLRenderer::drawDense(const CKXCamera&, const CKXVolumeObject& volume)
{
    if (!volume.isDense())
        return;
    ensureDenseTexture(volume);
    const CKXVolumeObject::DenseGrid& g = volume.dense();
    const CKXVolumeState& vs = volume.volumeState();
    QOpenGLShaderProgram& p = *m_pSliceProgram;

    // Which grid axis to slice along: the one whose slice planes face the eye most squarely.
    // Planes of constant index stay parallel under the affine, so the eye's index coordinate
    // orders them from the far side towards the eye.
    const QMatrix4x4& m = g.voxelToWorld;
    const QVector3D col[3] = {m.column(0).toVector3D(), m.column(1).toVector3D(),
                              m.column(2).toVector3D()};
    const QVector3D centre = m.map(0.5f * QVector3D(g.nx - 1, g.ny - 1, g.nz - 1));
    const QVector3D dir = (m_eyeInModel - centre).normalized();
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
    const QVector3D eyeIndex = m.inverted().map(m_eyeInModel);
    const QVector3D centreIndex = 0.5f * QVector3D(g.nx - 1, g.ny - 1, g.nz - 1);

    p.setUniformValue("uMVP", m_mvp * textureToWorld(g));
    p.setUniformValue("uThreshold", vs.thresholding ? vs.threshold / 255.0f : 0.0f);
    p.setUniformValue("uOpacity", std::clamp(vs.voxelOpacity, 0.0f, 1.0f));
    p.setUniformValue("uSpacing", spacing);
    p.setUniformValue("uLog", vs.logScale ? 1.0f : 0.0f);
    p.setUniformValue("uReverse", vs.reversed ? 1.0f : 0.0f);
    p.setUniformValue("uRange", QVector2D(float(vs.colorMin / 100.0), float(vs.colorMax / 100.0)));
    p.setUniformValue("uTableRow",
                      (std::clamp(vs.colorTable, 0, CKXPalette::TableCount - 1) + 0.5f) /
                          CKXPalette::TableCount);
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

void CKXGLRenderer::uploadPositions(GLuint& vao, GLuint& vbo, const std::vector<float>& positions)
{
    if (!vao)
    {
        glGenVertexArrays(1, &vao);
        glGenBuffers(1, &vbo);
    }
    glBindVertexArray(vao);
    glBindBuffer(GL_ARRAY_BUFFER, vbo);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(positions.size() * sizeof(float)), positions.data(),
                 GL_STATIC_DRAW);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 3 * sizeof(float), nullptr);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}
