// The built-in sample subject, generated in code (no data files, fully deterministic): a small
// animal's body surface, its organs, light-source reconstructions and an anatomical volume.
//
// Anatomical frame, millimetres: +x towards the nose (body from x = -45 at the rump to +45 at
// the nose, the tail beyond the rump), +y the animal's left, +z dorsal (up).
#ifndef CKXSAMPLESUBJECT_H
#define CKXSAMPLESUBJECT_H

#include "CKXSceneGraph.h"
#include "KXSceneDescription.h"

#include <QColor>
#include <QString>
#include <QVector3D>

#include <vector>

namespace KXSampleSubject
{

// Body surface with tail and ears: about 48k triangles at detail 1, a quarter of that at
// detail 2 (the translucent body's far side is drawn from it).
CKXGeometry makeBody(int detail = 1);
// Inside the body's trunk (tail and ears excluded); `inset` mm deeper than the skin.
bool insideBody(const QVector3D& p, float inset = 0.0f);

struct OrganPart
{
    QVector3D centre;
    QVector3D radii;
    float yawDeg = 0.0f; // about z
    float bend = 0.0f;   // y offset per x^2 (mm^-1), in the part's frame
    float taper = 0.0f;  // y/z shrink towards +x of the part's frame
    float groove = 0.0f; // depth of a dorsal midline groove (fraction of the radius)
};

struct OrganSpec
{
    QString name;
    QColor color;
    float density; // 0..1 in the anatomical volume
    std::vector<OrganPart> parts;
};

const std::vector<OrganSpec>& organs();
CKXGeometry makeOrgan(const OrganSpec& organ);

// A light source: a sum of anisotropic Gaussian lobes; intensity 0..100 at the peak.
struct Lobe
{
    QVector3D centre;
    QVector3D sigma;
    float amplitude;
};
struct SourceSpec
{
    std::vector<Lobe> lobes;
};

float sourceIntensity(const SourceSpec& source, const QVector3D& p); // 0..100
// The source sampled on an axis-aligned grid of `spacing` mm reaching 3.2 sigma past every
// lobe; intensities 0..100, exactly 100 at the brightest grid point.
SKXVolumeData makeSourceGrid(const SourceSpec& source, float spacing);
// The iso-surface at `level` (percent of the peak), star-shaped about the first lobe's centre.
CKXGeometry makeSourceSurface(const SourceSpec& source, float level);

// Photon density on the skin (per vertex of `body`) from a source: diffusion-like fall-off
// exp(-mu d) / d, scaled so that the brightest vertex of `reference` (default: `body` itself)
// gets `peak`, on a faint background.
std::vector<float> photonDensity(const CKXGeometry& body, const SourceSpec& source, float peak,
                                 const CKXGeometry* reference = nullptr);

// Anatomical density volume over the trunk: soft tissue, organs and a skeleton (spine, ribs,
// skull), 0..255.
SKXVolumeData makeAnatomyGrid();

// The whole sample subject as a scene description, in the anatomical frame. nVariant 0 or 1
// (anything else counts as 0): two subjects that differ in their light sources, so that two
// sequences can be told apart at a glance.
SKXSceneDescription makeDescription(int nVariant);

} // namespace KXSampleSubject

#endif // CKXSAMPLESUBJECT_H
