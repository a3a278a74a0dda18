// GLSL 3.30 programs of the 3D view's renderer. Each function compiles and links its program
// in the current GL context; it returns null (and warns) when the driver refuses it.
#include "CKXGLShaders.h"

#include <QOpenGLShaderProgram>
#include <QtDebug>

namespace
{
// Lights are fixed in eye space (they move with the camera), key light from the upper left.
const char* const kSurfaceVS = R"(#version 330 core
layout(location = 0) in vec3 aPos;
layout(location = 1) in vec3 aNormal;
layout(location = 2) in vec4 aColor;
uniform mat4 uMVP;
uniform mat4 uMV;
uniform mat3 uNormalMat;
uniform float uPointSize;
out vec3 vPos;
out vec3 vNormal;
out vec4 vColor;
void main()
{
    vPos = (uMV * vec4(aPos, 1.0)).xyz;
    vNormal = uNormalMat * aNormal;
    vColor = aColor;
    gl_Position = uMVP * vec4(aPos, 1.0);
    gl_PointSize = uPointSize;
}
)";

const char* const kSurfaceFS = R"(#version 330 core
in vec3 vPos;
in vec3 vNormal;
in vec4 vColor;
uniform vec4 uColor;          // rgb, opacity
uniform float uVertexColors;  // 1: per-vertex colours (alpha = weight) over uColor
uniform int uShade;           // 1 unlit, 2 lit smooth, 3 lit faceted
uniform float uEmission;
uniform float uRim;           // translucent surfaces thicken towards their outline
uniform float uDarken;        // wire overlay: 1 = unchanged
layout(location = 0) out vec4 fragColor;
#ifdef PEEL
// Depth peeling: the previous layer's depth per pixel; this layer is what lies behind it.
uniform sampler2D uPeelDepth;
layout(location = 1) out float fragDepth;
#endif
void main()
{
#ifdef PEEL
    if (gl_FragCoord.z <= texelFetch(uPeelDepth, ivec2(gl_FragCoord.xy), 0).r)
        discard;
    fragDepth = gl_FragCoord.z;
#endif
    vec3 base = mix(uColor.rgb, vColor.rgb, uVertexColors * vColor.a);
    vec3 V = normalize(-vPos);
    vec3 N;
    if (uShade == 3) {
        N = normalize(cross(dFdx(vPos), dFdy(vPos)));
        if (dot(N, V) < 0.0) N = -N;
    } else {
        N = normalize(vNormal);
        if (!gl_FrontFacing) N = -N;
    }
    vec3 color = base;
    if (uShade != 1) {
        vec3 L1 = normalize(vec3(-0.45, 0.6, 0.65));
        vec3 L2 = normalize(vec3(0.7, -0.25, 0.45));
        float d1 = max(dot(N, L1), 0.0);
        float d2 = max(dot(N, L2), 0.0);
        float spec = pow(max(dot(N, normalize(L1 + V)), 0.0), 40.0);
        color = base * (0.24 + 0.7 * d1 + 0.22 * d2) + vec3(0.28 * spec);
    }
    color = color * uDarken + base * uEmission;
    float alpha = uColor.a;
    // The photon density map reads like paint on the skin: stronger than the skin itself.
    alpha = mix(alpha, sqrt(alpha), 0.6 * uVertexColors * vColor.a);
    if (alpha < 0.999) {
        float rim = pow(1.0 - abs(dot(N, V)), 3.0);
        alpha = clamp(alpha + uRim * rim * (1.0 - alpha), 0.0, 1.0);
    }
    fragColor = vec4(color, alpha);
}
)";

// One instance per voxel: centre and intensity. Voxels below the threshold are moved outside
// the clip volume, so a threshold change costs no upload.
const char* const kVoxelVS = R"(#version 330 core
layout(location = 0) in vec3 aCorner;
layout(location = 1) in vec3 aNormal;
layout(location = 3) in vec4 aVoxel;
uniform mat4 uMVP;
uniform mat4 uMV;
uniform mat3 uNormalMat;
uniform float uVoxelSize;
uniform float uThreshold;
uniform float uIntensityMax;
uniform float uLog;
uniform float uReverse;
uniform vec2 uRange;          // colour table spread, fractions of the intensity range
uniform float uPointPixels;   // pixels per eye-space unit at distance 1 (points)
uniform float uUnitSize;      // eye-space size of a voxel
out float vT;
out float vWeight;
out float vShade;
void main()
{
    float I = aVoxel.w;
    if (I < uThreshold) {
        gl_Position = vec4(2.0, 2.0, 2.0, 1.0);
        vT = 0.0; vWeight = 0.0; vShade = 0.0;
        gl_PointSize = 1.0;
        return;
    }
    vec3 p = aVoxel.xyz + aCorner * uVoxelSize;
    float t = clamp(I / uIntensityMax, 0.0, 1.0);
    vWeight = 0.3 + 0.7 * t;
    if (uLog > 0.5) t = log(1.0 + 99.0 * t) / log(100.0);
    t = clamp((t - uRange.x) / max(uRange.y - uRange.x, 1e-4), 0.0, 1.0);
    if (uReverse > 0.5) t = 1.0 - t;
    vT = t;
    vec3 n = normalize(uNormalMat * aNormal + vec3(0.0, 0.0, 1e-4));
    vShade = 0.55 + 0.45 * max(dot(n, normalize(vec3(-0.4, 0.6, 0.7))), 0.0);
    vec4 eye = uMV * vec4(p, 1.0);
    gl_Position = uMVP * vec4(p, 1.0);
    gl_PointSize = max(1.5, 0.9 * uUnitSize * uPointPixels / max(-eye.z, 1.0));
}
)";

const char* const kVoxelFS = R"(#version 330 core
in float vT;
in float vWeight;
in float vShade;
uniform sampler2D uTables;
uniform float uTableRow;
uniform float uOpacity;
uniform float uGlow;
uniform float uPoints;
out vec4 fragColor;
void main()
{
    if (uPoints > 0.5) {
        vec2 d = gl_PointCoord * 2.0 - 1.0;
        if (dot(d, d) > 1.0) discard;
    }
    vec3 c = texture(uTables, vec2(vT * (255.0 / 256.0) + 0.5 / 256.0, uTableRow)).rgb;
    float w = uOpacity * uGlow * vWeight * vShade;
    fragColor = vec4(c * w, w);
}
)";

// Slices through the anatomical volume along its grid axes, blended back to front. The quads
// come in texture coordinates; uMVP includes the grid's texture-to-world affine.
const char* const kSliceVS = R"(#version 330 core
layout(location = 0) in vec3 aPos;
uniform mat4 uMVP;
out vec3 vTex;
void main()
{
    vTex = aPos;
    gl_Position = uMVP * vec4(aPos, 1.0);
}
)";

const char* const kSliceFS = R"(#version 330 core
in vec3 vTex;
uniform sampler3D uVolume;
uniform sampler2D uTables;
uniform float uTableRow;
uniform float uThreshold;
uniform float uOpacity;
uniform float uSpacing;  // mm between slices
uniform float uLog;
uniform float uReverse;
uniform vec2 uRange;
out vec4 fragColor;
void main()
{
    float d = texture(uVolume, vTex).r;
    if (d < uThreshold) discard;
    // A gamma lifts soft tissue out of the dark background; bone stays at the table's top.
    float t = pow(d, 0.6);
    if (uLog > 0.5) t = log(1.0 + 99.0 * t) / log(100.0);
    t = clamp((t - uRange.x) / max(uRange.y - uRange.x, 1e-4), 0.0, 1.0);
    if (uReverse > 0.5) t = 1.0 - t;
    vec3 c = texture(uTables, vec2(t * (255.0 / 256.0) + 0.5 / 256.0, uTableRow)).rgb;
    c = mix(c * vec3(0.8, 0.9, 1.05), c, d);  // soft tissue slightly blue, bone white
    float a = clamp(uOpacity * (0.05 + 0.5 * pow(d, 3.0)), 0.0, 0.98);
    a = 1.0 - pow(1.0 - a, uSpacing);
    fragColor = vec4(c, a);
}
)";

const char* const kBackgroundVS = R"(#version 330 core
out float vY;
void main()
{
    vec2 p = vec2((gl_VertexID & 1) * 4.0 - 1.0, (gl_VertexID >> 1) * 4.0 - 1.0);
    vY = p.y * 0.5 + 0.5;
    gl_Position = vec4(p, 0.999, 1.0);
}
)";

const char* const kBackgroundFS = R"(#version 330 core
in float vY;
out vec4 fragColor;
void main()
{
    vec3 top = vec3(0.17, 0.19, 0.24);
    vec3 bottom = vec3(0.03, 0.035, 0.05);
    fragColor = vec4(mix(bottom, top, clamp(vY, 0.0, 1.0)), 1.0);
}
)";

// A full-view triangle that copies (and optionally premultiplies) one texel per pixel: the
// peeled layers into their sum, and the sum onto the view.
const char* const kCompositeVS = R"(#version 330 core
void main()
{
    gl_Position = vec4((gl_VertexID & 1) * 4.0 - 1.0, (gl_VertexID >> 1) * 4.0 - 1.0, 0.0, 1.0);
}
)";

const char* const kCompositeFS = R"(#version 330 core
uniform sampler2D uImage;
uniform int uPremultiply;
layout(location = 0) out vec4 fragColor;
#ifdef SPLIT
// A peeled layer goes to the near sum (output 0) where its depth lies in front of uSplit, to
// the far sum (output 1) elsewhere; the other output adds nothing.
uniform sampler2D uDepth;
uniform float uSplit;
layout(location = 1) out vec4 farColor;
#endif
void main()
{
    vec4 c = texelFetch(uImage, ivec2(gl_FragCoord.xy), 0);
    fragColor = uPremultiply != 0 ? vec4(c.rgb * c.a, c.a) : c;
#ifdef SPLIT
    bool far = texelFetch(uDepth, ivec2(gl_FragCoord.xy), 0).r >= uSplit;
    farColor = far ? fragColor : vec4(0.0);
    fragColor = far ? vec4(0.0) : fragColor;
#endif
}
)";

std::unique_ptr<QOpenGLShaderProgram> makeProgram(const char* vs, const char* fs)
{
    auto p = std::make_unique<QOpenGLShaderProgram>();
    if (!p->addShaderFromSourceCode(QOpenGLShader::Vertex, vs) ||
        !p->addShaderFromSourceCode(QOpenGLShader::Fragment, fs) || !p->link())
    {
        qWarning("CKXGLRenderer: shader program failed: %s", qPrintable(p->log()));
        return nullptr;
    }
    return p;
}
} // namespace

namespace KXGLShaders
{
std::unique_ptr<QOpenGLShaderProgram> surfaceProgram(bool bPeel)
{
    if (!bPeel)
        return makeProgram(kSurfaceVS, kSurfaceFS);
    // The same source with PEEL defined right after its #version line.
    QByteArray fs(kSurfaceFS);
    fs.insert(fs.indexOf('\n') + 1, "#define PEEL 1\n");
    return makeProgram(kSurfaceVS, fs.constData());
}

std::unique_ptr<QOpenGLShaderProgram> compositeProgram(bool bSplit)
{
    if (!bSplit)
        return makeProgram(kCompositeVS, kCompositeFS);
    QByteArray fs(kCompositeFS);
    fs.insert(fs.indexOf('\n') + 1, "#define SPLIT 1\n");
    return makeProgram(kCompositeVS, fs.constData());
}

std::unique_ptr<QOpenGLShaderProgram> voxelProgram()
{
    return makeProgram(kVoxelVS, kVoxelFS);
}

std::unique_ptr<QOpenGLShaderProgram> sliceProgram()
{
    return makeProgram(kSliceVS, kSliceFS);
}

std::unique_ptr<QOpenGLShaderProgram> backgroundProgram()
{
    return makeProgram(kBackgroundVS, kBackgroundFS);
}
} // namespace KXGLShaders
