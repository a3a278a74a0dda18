#include "CKXGLRenderer.h"

#include "CKXGLShaders.h"
#include "CKXGLTranslucency.h"
#include "CKXGLVolumes.h"
#include "CKXSceneData.h"
#include "KXGLBuffers.h"

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
    GLuint vaos[2] = {m_emptyVao, m_boxVao};
    glDeleteVertexArrays(2, vaos);
    glDeleteBuffers(1, &m_boxVbo);
}

bool CKXGLRenderer::initialize()
{
    if (!initializeOpenGLFunctions())
    {
        qWarning("CKXGLRenderer: OpenGL 3.3 core functions are not available");
        return false;
    }
    m_pSurfaceProgram = KXGLShaders::surfaceProgram();
    m_pBackgroundProgram = KXGLShaders::backgroundProgram();
    if (!m_pSurfaceProgram || !m_pBackgroundProgram)
        return false;
    m_pVolumes = std::make_unique<CKXGLVolumes>();
    if (!m_pVolumes->initialize())
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
    KXGLBuffers::uploadPositions(*this, m_boxVao, m_boxVbo, box);
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
    // Surfaces are lit in eye space.
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
            m_pVolumes->drawVoxels(camera, modelView,
                                   *static_cast<const CKXVolumeObject*>(item.object));
            break;
        case Item::Dense:
            m_pVolumes->drawDense(camera, modelView,
                                  *static_cast<const CKXVolumeObject*>(item.object));
            break;
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
