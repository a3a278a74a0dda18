// What the user opens becomes one scene description: roles by the order of opening or as
// given, names, the default view, scene files, and refusals that name the file and change
// nothing. The inputs are files other programs wrote.
#include "../common/KXTestFiles.h"
#include "CKXDatasetLoader.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{
const QString kModels = QStringLiteral(KX_ASSIMP_MODELS_DIR);
const QString kVolumes = QStringLiteral(KX_VOLUME_FIXTURES);

SKXOpenRequest request(const QString& strPath, EKXDataRole eRole = EKXDataRole::Automatic,
                       const QString& strName = QString())
{
    SKXOpenRequest r;
    r.path = strPath;
    r.role = eRole;
    r.name = strName;
    return r;
}

TEST(DatasetLoader, RolesFollowTheOrderOfOpeningUnlessGiven)
{
    SKXSceneDescription d;
    QString strError;
    ASSERT_TRUE(CKXDatasetLoader::load(
        {request(kModels + "/PLY/Wuson.ply"), request(kModels + "/OBJ/box.obj"),
         request(kVolumes + "/type_int16.nii.gz"), request(kVolumes + "/geom_sform.nii"),
         request(kModels + "/PLY/cube.ply", EKXDataRole::Organ, "Liver"),
         request(kModels + "/STL/Wuson.stl", EKXDataRole::Source),
         request(kVolumes + "/scaled.nii", EKXDataRole::Source, "original")},
        d, strError))
        << qPrintable(strError);
    EXPECT_EQ(d.name, "Wuson");
    ASSERT_TRUE(d.subject && d.anatomy);
    EXPECT_EQ(d.subject->geometry->triangleCount(), 3732);
    ASSERT_EQ(d.organs.size(), 2u);
    EXPECT_EQ(d.organs[1].name, "Liver");
    EXPECT_EQ(d.organs[1].geometry->triangleCount(), 12);
    ASSERT_EQ(d.sources.size(), 3u);
    EXPECT_TRUE(d.sources[0].name == "SourceVoxels_1" && d.sources[0].volume);
    EXPECT_TRUE(d.sources[1].name == "SourceSurface_1" && !d.sources[1].volume &&
                d.sources[1].surfaces.size() == 1);
    EXPECT_TRUE(d.sources[2].name == "Original" && d.sources[2].volume);
    // A dataset with a volume is in patient coordinates: the default view shows its front,
    // head up.
    EXPECT_LT((d.viewOrientation.map(QVector3D(0, 0, 1)) - QVector3D(0, 1, 0)).length(), 1e-6f);
    EXPECT_LT((d.viewOrientation.map(QVector3D(0, 1, 0)) - QVector3D(0, 0, 1)).length(), 1e-6f);

    SKXSceneDescription meshes;
    ASSERT_TRUE(CKXDatasetLoader::load({request(kModels + "/OBJ/box.obj")}, meshes, strError));
    EXPECT_TRUE(meshes.viewOrientation.isIdentity()); // meshes as given
    EXPECT_TRUE(meshes.subject && meshes.organs.empty() && !meshes.anatomy);
}

TEST(DatasetLoader, RefusalsNameTheFileAndLeaveTheDescriptionAlone)
{
    QTemporaryDir dir;
    const QString strText = dir.filePath("notes.txt");
    kxWriteFile(strText, "not data\n");
    const QString strBox = kModels + "/OBJ/box.obj";
    const QString strVolume = kVolumes + "/type_int16.nii.gz";
    const struct
    {
        QList<SKXOpenRequest> requests;
        QString strFile;
        const char* szMessage;
    } kCases[] = {
        {{request(dir.path() + "/missing.ply")}, "missing.ply", "does not exist"},
        {{request(strText)}, strText, "not a kind of file"},
        {{request(strBox, EKXDataRole::Volume)}, strBox, "cannot be opened as the volume"},
        {{request(strVolume, EKXDataRole::Organ)}, strVolume, "cannot be opened as the organ"},
        {{request(strVolume, EKXDataRole::Source, "Lesion")}, strVolume, "SourceVoxels"},
        {{request(strBox), request(strBox, EKXDataRole::Subject)}, strBox, "has one already"},
        {{request(strVolume), request(strVolume, EKXDataRole::Volume)},
         strVolume,
         "has one already"},
        {{request(strBox), request(kVolumes + "/bad_truncated.nii")}, "bad_truncated.nii", ""},
        {{}, QString(), "Nothing to open"},
    };
    for (const auto& c : kCases)
    {
        SKXSceneDescription d;
        d.name = QStringLiteral("kept");
        QString strError;
        EXPECT_FALSE(CKXDatasetLoader::load(c.requests, d, strError)) << qPrintable(c.strFile);
        EXPECT_TRUE(strError.contains(c.strFile) && strError.contains(c.szMessage))
            << qPrintable(strError);
        EXPECT_TRUE(d.name == "kept" && d.isEmpty());
    }

    // An abort from the progress display ends the load the same way.
    SKXSceneDescription d;
    QString strError;
    EXPECT_FALSE(CKXDatasetLoader::load({request(kModels + "/PLY/Wuson.ply")}, d, strError,
                                        [](double) { return false; }));
    EXPECT_TRUE(strError.contains("aborted")) << qPrintable(strError);
    EXPECT_TRUE(d.isEmpty());
}

TEST(DatasetLoader, SceneFileBringsItsRolesNamesColoursAndView)
{
    QTemporaryDir dir;
    const QString strScene = dir.filePath("scene.json");
    kxWriteFile(strScene,
                QStringLiteral(
                    "{\"name\": \"Box study\", \"view\": {\"up\": [1, 0, 0], \"front\": [0, 0, 1]},"
                    " \"items\": ["
                    " {\"role\": \"subject\", \"file\": \"%1/PLY/cube.ply\"},"
                    " {\"role\": \"organ\", \"file\": \"%1/OBJ/box.obj\", \"name\": \"Heart\","
                    "  \"color\": \"#ff0000\"},"
                    " {\"role\": \"source\", \"name\": \"SourceSurface_2\","
                    "  \"surface\": [\"%1/PLY/cube.ply\", \"%1/STL/Wuson.stl\"]}]}")
                    .arg(kModels)
                    .toUtf8());
    SKXSceneDescription d;
    QString strError;
    ASSERT_TRUE(CKXDatasetLoader::load({request(strScene)}, d, strError)) << qPrintable(strError);
    EXPECT_EQ(d.name, "Box study");
    ASSERT_TRUE(d.subject);
    ASSERT_EQ(d.organs.size(), 1u);
    EXPECT_TRUE(d.organs[0].name == "Heart" && d.organs[0].color == QColor(255, 0, 0));
    ASSERT_EQ(d.sources.size(), 1u);
    EXPECT_EQ(d.sources[0].surfaces.size(), 2u);
    EXPECT_LT((d.viewOrientation.map(QVector3D(1, 0, 0)) - QVector3D(0, 1, 0)).length(), 1e-6f);
}

} // namespace
