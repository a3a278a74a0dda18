// Key frame records: one snapshot of the host 3D view, the display controls it carries, and the
// per-sequence state the animation dialog keeps while it shows another sequence.
//
// The host receives whole key frames (CKXSSequenceWindow::signalUpdate3DToolsPalette) and hands
// out tag_s3Dcontrols (CKXSToolInfo::get3DControls), so member order, types and the virtual
// destructor of SSpKeyFrameAttributes are a layout contract with the host. Members documented as
// "host" belong to the host's 3D tool palette: this plug-in never interprets them and only
// copies them along with the record.
//
// Units: opacities, slider positions and percents are integers 0..100; time stamps are on the
// dialog's time scale 0..100; colours are 0..255 per component. Every member the host leaves
// without a value is zeroed here so that nothing ever reads indeterminate memory.
#ifndef KEYFRAMERECORDS_H
#define KEYFRAMERECORDS_H

#include "3DMath.h"

#include <QColor>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QStringList>

// Photon density map display settings of the surface mesh.
struct S3DToolsPDMapData
{
    QStringList list1; // host
    QStringList list2; // host
    int intValue = 0;  // host
    QString text1;     // host
    QString text2;     // host
    int mode = 1;      // host
    bool flags[10] = {};
    int colorBarIndex = 0; // colour table index
    int sliderMin = 0;     // lower colour table slider, percent
    int sliderMax = 100;   // upper colour table slider, percent
    int sliderExtra = 0;   // value slider, percent of the image range (set by frame generation)
    float spinBoxMax = 100.0f;
    float spinBoxMin = 0.0f;
    float spinBoxValue = 0.0f;
    int intTail = 0;   // host
    int percent = 100; // host

    // Named views of the flag array.
    bool& visible() { return flags[1]; }
    bool visible() const { return flags[1]; }
    bool& reverse() { return flags[4]; }
    bool reverse() const { return flags[4]; }
    bool& logScale() { return flags[6]; }
    bool logScale() const { return flags[6]; }
    // When set, the current value (not the range maximum) is the upper colour table bound.
    bool& valueIsUpperBound() { return flags[8]; }
    bool valueIsUpperBound() const { return flags[8]; }
};

// Volume measurement of a 3D source; carried along unchanged.
struct tag_s3DVolMeasurement
{
    bool active = false;
    int count = 0;
    QString unit;
    int precision = 0;
    QString label;
    int region[3] = {};
    QString text1;
    QString text2;
    int statistics[3] = {};
};

// Display settings of one 3D source: its reconstructed surface and its voxel volume.
struct tag_s3DSourceControls
{
    QColor surfaceColor;
    bool surfRenderVertices = false;
    bool surfRenderWireframe = false;
    bool surfRenderSolid = false;
    bool surfRenderWireSolid = false;
    bool surfShadeBox = false;
    bool surfShadeSmoothSolid = false;
    bool surfShadeLit = false;
    bool surfShadeSolidLit = false;
    bool surfExtraFlags[2] = {}; // host
    int volumeOpacity = 0;
    int volumeOpacityMin = 0;
    int volumeOpacityMax = 100;
    int surfaceOpacity = 0;
    int surfaceOpacityMin = 0;
    int surfaceOpacityMax = 100;
    bool surfaceGroupEnabled = false;
    bool surfaceVisible = false;
    bool volumeMip = false;        // maximum intensity projection
    double sourceValue = 0.0;      // host
    float sourceFloatValue = 0.0f; // host
    bool volumeFlags[8] = {};      // host
    bool volumeGroup = false;
    bool volumeThreshold = false;
    bool volumeLogScale = false;
    bool volumeVisible = false;
    int intensitySlider = 0; // percent of [intensityMin, intensityMax]
    int intensitySliderMin = 0;
    int intensitySliderMax = 100;
    double intensityValue = 0.0; // threshold shown beside the slider
    double intensityMin = 0.0;
    double intensityMax = 100.0;
    double intensityExtra[2] = {}; // host
    float voxelFloatValue = 0.0f;  // host
    double rangeMin = 0.0;         // host
    double rangeMax = 100.0;       // host
    int voxelType = 0;
    bool voxelFlags[3] = {};
    int voxelColor = 0; // colour table of the voxels
    float colorMin = 0.0f;
    float colorMax = 100.0f;
    tag_s3DVolMeasurement measurement;
    int drawMode = 2;
    int shadeMode = 3;

    // The voxel colour table is reversed.
    bool& volumeReverse() { return voxelFlags[1]; }
    bool volumeReverse() const { return voxelFlags[1]; }
};

// The host's 3D display controls (what its 3D tool palette shows).
struct tag_s3Dcontrols
{
    bool viewFlags[6] = {}; // host
    QColor meshColor;
    bool meshRenderVertices = false;
    bool meshRenderWireframe = false;
    bool meshRenderSolid = false;
    bool meshRenderWireSolid = false;
    bool organRenderVertices = false;
    bool organRenderWireframe = false;
    bool organRenderSolid = false;
    bool organRenderWireSolid = false;
    bool meshShadeBox = false;
    bool meshShadeSmoothSolid = false;
    bool meshShadeLit = false;
    bool meshShadeSolidLit = false;
    bool organShadeBox = false;
    bool organShadeSmoothSolid = false;
    bool organShadeLit = false;
    bool organShadeSolidLit = false;
    bool extraRenderFlags[8] = {}; // host
    int controlMode = 0;           // host
    bool meshVisible = true;
    bool displayFlags[16] = {};     // host
    int intSettings[3] = {};        // host
    int meshOpacity = 0;            // percent
    int intSettings2[2] = {};       // host
    double doubleSettings[12] = {}; // host
    QString name1;                  // host
    bool flagA = false;             // host
    bool flagB = false;             // host
    QString name2;                  // host
    bool organFlag = false;         // host
    bool organsVisible = false;     // organs shown as a whole
    int organOpacity = 0;           // percent
    bool tailFlags[4] = {};         // host
    S3DToolsPDMapData pdMap;
    QString name3; // the current 3D source, a key of sourceControls
    QMap<QString, tag_s3DSourceControls> sourceControls; // keyed by source name ("Original", ...)
};

// Settings of a key frame that the host's controls record lacks.
struct SAddnFrameAttributes
{
    bool multimodalityVolumeVisible = false; // the "GLVolume" scene node is displayed
    bool addnFlag = false;                   // host
    int addnValue = 0;                       // host
};

// One key frame: camera pose, time stamp and the display state of every 3D object.
class SSpKeyFrameAttributes
{
public:
    SSpKeyFrameAttributes() = default;
    // Copies *controls and *addn; both must be valid. isCaptured stays false and the organ map
    // empty: the caller fills them.
    SSpKeyFrameAttributes(unitquaternion rotation, Vec3f translation, double timeStamp,
                          tag_s3Dcontrols* controls, SAddnFrameAttributes* addn);
    SSpKeyFrameAttributes(const SSpKeyFrameAttributes&) = default;
    SSpKeyFrameAttributes& operator=(const SSpKeyFrameAttributes&) = default;
    virtual ~SSpKeyFrameAttributes();

    unitquaternion rotation; // view rotation
    Vec3f translation;       // view translation, pixels at the focal plane
    double timeStamp = 0.0;  // position on the time scale, 0..100
    bool isCaptured = false; // filled from the live 3D view (or stands for a key frame)
    QMap<QString, bool> organsVisibility; // organ name -> shown
    tag_s3Dcontrols controls;
    SAddnFrameAttributes addnAttributes;
};

// The saved state of one sequence while the dialog shows another.
struct sSeqKeyFrameAttributes
{
    sSeqKeyFrameAttributes() = default;
    sSeqKeyFrameAttributes(QMap<QString, SSpKeyFrameAttributes> keyFrames,
                           SSpKeyFrameAttributes viewState, int frameRate, int duration,
                           int frameFactor, int timeScalePosition);

    QMap<QString, SSpKeyFrameAttributes> keyFrames; // by key frame name
    SSpKeyFrameAttributes viewState;                // the view before the first key frame
    int controlValue1 = 10;                         // frames per second
    int controlValue2 = 5;                          // duration, seconds
    int controlValue3 = 1;                          // frame factor
    int controlValue4 = 0;                          // time scale position
};

// Movie parameters kept for the host's movie interface during a recording.
struct sMovieDetails
{
    int durationMs = 0;    // animation duration in milliseconds
    int durationTicks = 0; // 100 x duration in seconds
    int width = 0;         // 3D view width, pixels
    int height = 0;        // 3D view height, pixels
    int frameRate = 25;    // frames per second
};

// The movie types the host can write: extensions ("mp4") and file dialog filters.
struct sMovieTypes
{
    QStringList extensions;
    QStringList filters;
};

Q_DECLARE_METATYPE(SSpKeyFrameAttributes)

#endif // KEYFRAMERECORDS_H
