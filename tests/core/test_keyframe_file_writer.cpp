#include "KeyFrameFileWriter.h"

#include "core_test_util.h"

#include <QRegularExpression>

#include <algorithm>
#include <cstdlib>
#include <functional>

using coretest::makeKeyFrame;
using coretest::makeSource;

namespace
{

using KeyFrameMap = QMap<QString, SSpKeyFrameAttributes>;

struct SSaveCase
{
    const char* m_pszFile;
    QStringList m_rows;
    QStringList m_sceneSources;
    std::function<KeyFrameMap()> m_makeMap;
};

// Rows out of time order (ids follow the rows), a black mesh, a rotation without vector part,
// a fractional and a whole photon density value, one scene source.
KeyFrameMap twoKeyFrames()
{
    KeyFrameMap map;
    SSpKeyFrameAttributes first = makeKeyFrame(100, 0);
    first.controls.meshColor = QColor(0, 0, 0);
    first.rotation = unitquaternion(Vec3f(0, 0, 0), -1.0);
    first.controls.pdMap.spinBoxValue = 2.5f;
    map.insert("Key Frame 1", first);
    map.insert("Key Frame 2", makeKeyFrame(0, 1));
    return map;
}

// The entry under name3 stands for all three scene sources.
KeyFrameMap threeSources()
{
    KeyFrameMap map;
    for (int n : {1, 2})
    {
        SSpKeyFrameAttributes key = makeKeyFrame(n == 1 ? 0 : 100, n);
        key.controls.sourceControls.insert("SourceVoxels_1", makeSource(10 * n));
        key.controls.name3 = "SourceVoxels_1";
        map.insert(QStringLiteral("Key Frame %1").arg(n), key);
    }
    return map;
}

// No scene sources, a row missing from the map, a rotation component below 1e-12, no organs.
KeyFrameMap noSources()
{
    KeyFrameMap map;
    SSpKeyFrameAttributes key = makeKeyFrame(0, 2);
    key.rotation = unitquaternion(Vec3f(0.5, 1e-13, 0.5), 0.7);
    key.organsVisibility.clear();
    map.insert("Key Frame 1", key);
    map.insert("Key Frame 3", makeKeyFrame(50, 3));
    return map;
}

const SSaveCase SAVE_CASES[] = {
    {"save_two_keyframes.vkf", {"Key Frame 2", "Key Frame 1"}, {"Original"}, twoKeyFrames},
    {"save_three_sources.vkf",
     {"Key Frame 1", "Key Frame 2"},
     {"Original", "SourceSurface_1", "SourceVoxels_1"},
     threeSources},
    {"save_no_sources.vkf", {"Key Frame 1", "Key Frame 3", "Key Frame 9"}, {}, noSources},
};

// A line with its attributes in sorted order, to compare texts that differ in that order only.
QString normalisedLine(const QString& strLine)
{
    static const QRegularExpression attribute(QStringLiteral(" [^ =]+=\"[^\"]*\""));
    QStringList attributes;
    QRegularExpressionMatchIterator it = attribute.globalMatch(strLine);
    while (it.hasNext())
        attributes.append(it.next().captured(0));
    std::sort(attributes.begin(), attributes.end());
    QString strRest = strLine;
    strRest.remove(attribute);
    return strRest + attributes.join(QString());
}

} // namespace

// The golden files are the writer's output for known lists, checked by eye when written
// (KX_WRITE_GOLDEN=1 rewrites them); any change in the bytes shows here.
TEST(KeyFrameFileWriter, WritesTheGoldenFilesByteForByte)
{
    const bool bRewrite = std::getenv("KX_WRITE_GOLDEN") != nullptr;
    for (const SSaveCase& c : SAVE_CASES)
    {
        KeyFrameMap map = c.m_makeMap();
        const QString strText = CKeyFrameFileWriter::write(c.m_rows, map, c.m_sceneSources);
        if (bRewrite)
        {
            QFile file(coretest::dataPath(c.m_pszFile));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(strText.toUtf8());
            continue;
        }
        EXPECT_EQ(strText.toStdString(), coretest::readData(c.m_pszFile).toStdString())
            << c.m_pszFile;
        // write() streams key frame by key frame; the whole document gives the same text.
        KeyFrameMap fresh = c.m_makeMap();
        EXPECT_EQ(strText, CKeyFrameFileWriter::toText(CKeyFrameFileWriter::buildDocument(
                               c.m_rows, fresh, c.m_sceneSources)));
    }
    KeyFrameMap empty;
    EXPECT_EQ(CKeyFrameFileWriter::write({}, empty, {}),
              CKeyFrameFileWriter::toText(CKeyFrameFileWriter::buildDocument({}, empty, {})));
}

// What is written for a row the map lacks, for a black mesh, for tiny and zero rotation vectors
// and for sources other than name3 is in the golden files; writing also adds that row to the
// caller's map as a default record, and leaves the records' own values alone.
TEST(KeyFrameFileWriter, AddsMissingRowsToTheMapWithoutTouchingTheRecords)
{
    KeyFrameMap map = noSources();
    CKeyFrameFileWriter::buildDocument({"Key Frame 1", "Key Frame 9"}, map, {"Original"});
    EXPECT_TRUE(map.contains("Key Frame 9"));
    EXPECT_EQ(map["Key Frame 1"].rotation.y(), 1e-13);
}

// The text is the DOM's own serialisation except for the attribute order, including the
// escaping of names with markup characters.
TEST(KeyFrameFileWriter, MatchesTheDomSerialisationUpToAttributeOrder)
{
    KeyFrameMap map = twoKeyFrames();
    map["Key Frame 1"].organsVisibility.insert(QString::fromUtf8("a<b>]]>&\"c'\n\t\r é"), true);
    const QStringList rows = {"Key Frame 1", "Key Frame 2"};
    const QDomDocument doc = CKeyFrameFileWriter::buildDocument(rows, map, {"Original", "x&y"});
    QString strOurs = CKeyFrameFileWriter::toText(doc);
    ASSERT_TRUE(strOurs.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"));
    ASSERT_TRUE(strOurs.endsWith(">\n\n"));
    strOurs = strOurs.mid(39).chopped(1);
    const QStringList ours = strOurs.split('\n');
    const QStringList dom = doc.toString(1).split('\n');
    ASSERT_EQ(ours.size(), dom.size());
    for (int i = 0; i < ours.size(); ++i)
        EXPECT_EQ(normalisedLine(ours[i]).toStdString(), normalisedLine(dom[i]).toStdString());
}
