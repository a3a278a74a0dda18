// The scene file: what it accepts, what it refuses with which message, and the round trip.
#include "CKXSceneFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

QByteArray sceneWith(const QByteArray& baItems, const QByteArray& baExtra = QByteArray())
{
    return "{\"format\": \"kx3dviewer-scene\", \"version\": 1, " + baExtra + "\"items\": [" +
           baItems + "]}";
}

TEST(SceneFile, WritesRelativePathsAndReadsBackEveryRoleNameColourAndView)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QDir base(dir.path());
    SKXSceneFileData data;
    data.name = QStringLiteral("Mouse 12, day 3");
    ASSERT_TRUE(
        CKXSceneFile::orientation(QVector3D(0, 0, 1), QVector3D(0, -1, 0), data.viewOrientation));
    const auto at = [&base](const char* szName) { return base.filePath(szName); };
    data.items = {
        {EKXDataRole::Subject, {}, {at("body.ply")}, {}, {}, "intensity"},
        {EKXDataRole::Organ, "Liver", {at("organs/liver.stl")}, {}, {200, 80, 60}, {}},
        {EKXDataRole::Volume, {}, {}, at("ct"), {}, {}},
        {EKXDataRole::Source, "Original", {at("s.ply")}, at("s.nii.gz"), {}, {}},
        {EKXDataRole::Source, "SourceSurface_1", {at("a.ply"), "/elsewhere/b.ply"}, {}, {}, {}}};

    const QString strScene = base.filePath("scene.json");
    QString strError;
    ASSERT_TRUE(CKXSceneFile::write(strScene, data, strError)) << qPrintable(strError);
    QFile file(strScene);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray baText = file.readAll();
    EXPECT_TRUE(baText.contains("\"organs/liver.stl\"")) << baText.constData();
    EXPECT_TRUE(baText.contains("\"/elsewhere/b.ply\"")); // outside the folder: kept absolute
    EXPECT_FALSE(baText.contains(dir.path().toUtf8()));

    SKXSceneFileData back;
    ASSERT_TRUE(CKXSceneFile::read(strScene, back, strError)) << qPrintable(strError);
    EXPECT_EQ(back.name, data.name);
    EXPECT_EQ(back.viewOrientation, data.viewOrientation);
    ASSERT_EQ(back.items.size(), data.items.size());
    for (size_t i = 0; i < data.items.size(); ++i)
    {
        EXPECT_EQ(back.items[i].role, data.items[i].role) << i;
        EXPECT_EQ(back.items[i].name, data.items[i].name) << i;
        EXPECT_EQ(back.items[i].surfaces, data.items[i].surfaces) << i;
        EXPECT_EQ(back.items[i].volume, data.items[i].volume) << i;
        EXPECT_EQ(back.items[i].color, data.items[i].color) << i;
        EXPECT_EQ(back.items[i].scalarName, data.items[i].scalarName) << i;
    }
}

TEST(SceneFile, ViewShowsUpUpAndFrontTowardsTheViewer)
{
    QMatrix4x4 m;
    ASSERT_TRUE(CKXSceneFile::orientation(QVector3D(0, 0, 2), QVector3D(0.05f, -1, 0.1f), m));
    EXPECT_LT((m.map(QVector3D(0, 0, 1)) - QVector3D(0, 1, 0)).length(), 1e-6f);
    EXPECT_GT(m.map(QVector3D(0, -1, 0)).z(), 0.99f);
    EXPECT_NEAR(m.determinant(), 1.0, 1e-6); // a rotation, never a mirror
    for (const auto& pair : {std::make_pair(QVector3D(0, 0, 1), QVector3D(0, 0, -3)),
                             std::make_pair(QVector3D(), QVector3D(1, 0, 0)),
                             std::make_pair(QVector3D(qQNaN(), 0, 1), QVector3D(1, 0, 0))})
    {
        QMatrix4x4 unchanged;
        EXPECT_FALSE(CKXSceneFile::orientation(pair.first, pair.second, unchanged));
        EXPECT_TRUE(unchanged.isIdentity());
    }
}

TEST(SceneFile, RefusesWhatCannotMakeADatasetWithAMessageThatSaysWhy)
{
    const struct
    {
        QByteArray baJson;
        const char* szMessage;
    } kCases[] = {
        {"{\"items\": [", "not a scene file"},
        {"[1, 2]", "needs \"items\""},
        {"{\"format\": \"other\", \"items\": []}", "needs \"items\""},
        {"{\"version\": 2, \"items\": [{}]}", "version 2 is not supported"},
        {sceneWith(""), "1 to 10000 items"},
        {sceneWith("3"), "item 1: not an object"},
        {sceneWith("{\"role\": \"camera\"}"), "unknown role \"camera\""},
        {sceneWith("{\"role\": \"subject\"}"), "a subject needs \"file\""},
        {sceneWith("{\"role\": \"subject\", \"file\": 5}"), "must be a file name"},
        {sceneWith("{\"role\": \"volume\", \"file\": [\"a.nii\", \"b.nii\"]}"), "one NIfTI"},
        {sceneWith("{\"role\": \"organ\", \"file\": \"a.stl\", \"scalar\": \"v\"}"),
         "only the subject"},
        {sceneWith("{\"role\": \"organ\", \"file\": \"a.stl\", \"color\": \"#zz\"}"), "\"color\""},
        {sceneWith("{\"role\": \"organ\", \"file\": \"a.stl\", \"color\": [1, 2, 300]}"),
         "0 to 255"},
        {sceneWith("{\"role\": \"source\", \"name\": \"Lesion\", \"volume\": \"a.nii\"}"),
         "must be \"Original\""},
        {sceneWith("{\"role\": \"source\", \"name\": \"SourceVoxels_1\", \"surface\": \"a.ply\"}"),
         "a voxel source takes"},
        {sceneWith("{\"role\": \"source\", \"name\": \"SourceSurface_1\", \"volume\": \"a.nii\"}"),
         "a surface source takes"},
        {sceneWith("{\"role\": \"source\", \"name\": \"original\", \"surface\": [\"a\", \"b\"]}"),
         "at most one \"surface\""},
        {sceneWith("{\"role\": \"subject\", \"file\": \"a.ply\"}, "
                   "{\"role\": \"subject\", \"file\": \"b.ply\"}"),
         "item 2: a second subject"},
        {sceneWith("{\"role\": \"source\", \"name\": \"SourceVoxels_1\", \"volume\": \"a\"}, "
                   "{\"role\": \"source\", \"name\": \"SourceVoxels_1\", \"volume\": \"b\"}"),
         "a second SourceVoxels_1"},
        {sceneWith("{\"role\": \"subject\", \"file\": \"a.ply\"}",
                   "\"view\": {\"up\": [0, 0, 1], \"front\": [0, 0, 1]}, "),
         "not parallel"},
    };
    for (const auto& c : kCases)
    {
        SKXSceneFileData data;
        data.name = QStringLiteral("left over");
        QString strError;
        EXPECT_FALSE(CKXSceneFile::parse(c.baJson, QStringLiteral("/data"), data, strError))
            << c.baJson.constData();
        EXPECT_TRUE(strError.contains(QLatin1String(c.szMessage)))
            << c.baJson.constData() << " -> " << qPrintable(strError);
        EXPECT_TRUE(data.items.empty() && data.name.isEmpty());
    }
}

TEST(SceneFile, ReadNamesTheFileItCannotUse)
{
    QTemporaryDir dir;
    QString strError;
    SKXSceneFileData data;
    const QString strMissing = QDir(dir.path()).filePath("missing.json");
    EXPECT_FALSE(CKXSceneFile::read(strMissing, data, strError));
    EXPECT_TRUE(strError.contains(strMissing) && strError.contains("no such file"));

    const QString strBig = QDir(dir.path()).filePath("big.json");
    QFile big(strBig);
    ASSERT_TRUE(big.open(QIODevice::WriteOnly) && big.resize(CKXSceneFile::kMaxFileBytes + 1));
    big.close();
    EXPECT_FALSE(CKXSceneFile::read(strBig, data, strError));
    EXPECT_TRUE(strError.contains(strBig) && strError.contains("larger than"));

    EXPECT_FALSE(CKXSceneFile::read(dir.path(), data, strError)); // a folder
    EXPECT_TRUE(strError.contains(dir.path()));
}

} // namespace
