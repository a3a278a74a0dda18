#include "KeyFrameFilePreScan.h"
#include "KeyFrameFileReader.h"
#include "KeyFrameFileWriter.h"

#include "core_test_util.h"

#include <QRegularExpression>

#include <cstdlib>

using coretest::makeKeyFrame;
using coretest::makeSource;
using EStatus = SKeyFrameFileReadResult::EStatus;
using KeyFrames = QList<SSpKeyFrameAttributes>;

namespace
{

// The scene files are loaded into: every key frame starts from these controls.
tag_s3Dcontrols sceneControls()
{
    tag_s3Dcontrols c;
    c.name3 = "SceneSource";
    c.pdMap.mode = 6; // never in a file
    c.meshOpacity = 12;
    c.sourceControls = {{"Original", makeSource(7)}, {"SourceSurface_9", makeSource(9)}};
    return c;
}

KeyFrames read(const QString& strText)
{
    return CKeyFrameFileReader::read(strText, sceneControls()).m_listKeyFrames;
}

// Each file with the outcome it must give; the key frames of a loaded one are compared with
// the dump beside it ("<name>.loaded.txt", checked by eye when written: KX_WRITE_GOLDEN=1).
// Loading keeps the scene's values the file does not carry: the name3, mode 6, the second
// source, intensity maxima.
const struct
{
    const char* m_pszFile;
    EStatus m_eStatus;
    int m_nKeyFrames;
} FILE_CASES[] = {
    {"older_generation.vkf", EStatus::Loaded, 2},
    {"older_generation_doctype_case.vkf", EStatus::Loaded, 1},
    {"no_doctype.vkf", EStatus::Loaded, 1},
    {"missing_attributes.vkf", EStatus::Loaded, 1},
    {"wrong_types.vkf", EStatus::Loaded, 2},
    {"huge_source_list_count.vkf", EStatus::Loaded, 1},
    {"comments_under_root.vkf", EStatus::Loaded, 5},
    {"not_xml.vkf", EStatus::Unparsable, 0},
    {"truncated.vkf", EStatus::Unparsable, 0},
    {"entity_declared.vkf", EStatus::Unparsable, 0},
    {"billion_laughs.vkf", EStatus::Unparsable, 0},
    {"deep_nesting.vkf", EStatus::Unparsable, 0},
};

} // namespace

TEST(KeyFrameFileReader, ReadsEachFileAsExpected)
{
    const bool bRewrite = std::getenv("KX_WRITE_GOLDEN") != nullptr;
    for (const auto& c : FILE_CASES)
    {
        SCOPED_TRACE(c.m_pszFile);
        const SKeyFrameFileReadResult result =
            CKeyFrameFileReader::read(coretest::readData(c.m_pszFile), sceneControls());
        EXPECT_EQ(result.m_eStatus, c.m_eStatus);
        EXPECT_EQ(result.m_strDetail.isEmpty(), c.m_eStatus == EStatus::Loaded);
        ASSERT_EQ(result.m_listKeyFrames.size(), c.m_nKeyFrames);
        if (c.m_eStatus != EStatus::Loaded)
            continue;
        const QByteArray expectedFile = QByteArray(c.m_pszFile).replace(".vkf", ".loaded.txt");
        const QString strDump = coretest::dump(result.m_listKeyFrames);
        if (bRewrite)
        {
            QFile file(coretest::dataPath(expectedFile.constData()));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(strDump.toUtf8());
            continue;
        }
        EXPECT_EQ(strDump.toStdString(),
                  coretest::readData(expectedFile.constData()).toStdString());
    }
}

// Written, read and written again: the same file but for the format's deliberate losses, so
// every carried field survives the trip.
TEST(KeyFrameFileReader, RoundTripKeepsTheCarriedFields)
{
    const QStringList rows = {"Key Frame 1", "Key Frame 2"};
    const QStringList sources = {"Original", "SourceVoxels_1"};
    QMap<QString, SSpKeyFrameAttributes> map = {{rows[0], makeKeyFrame(0, 0)},
                                                {rows[1], makeKeyFrame(62.5, 1)}};
    map[rows[0]].controls.meshColor = QColor(0, 0, 0);
    map[rows[0]].controls.pdMap.spinBoxValue = 2.5f;
    map[rows[1]].controls.sourceControls.insert("SourceVoxels_1", makeSource(40));
    const QString strFirst = CKeyFrameFileWriter::write(rows, map, sources);
    tag_s3Dcontrols scene = sceneControls();
    scene.name3 = "Original";
    const KeyFrames loaded = CKeyFrameFileReader::read(strFirst, scene).m_listKeyFrames;
    ASSERT_EQ(loaded.size(), 2);
    QMap<QString, SSpKeyFrameAttributes> again = {{rows[0], loaded[0]}, {rows[1], loaded[1]}};

    QString strExpected = strFirst;
    strExpected.replace("pd_map_spinbox=\"2.5\"", "pd_map_spinbox=\"0\""); // read as integers
    strExpected.replace(QRegularExpression("<OrganList>\n[^/]*(/>\n[^/]*)*</OrganList>"),
                        "<OrganList/>"); // never found where the writer puts it
    EXPECT_EQ(CKeyFrameFileWriter::write(rows, again, sources).toStdString(),
              strExpected.toStdString());
    EXPECT_EQ(loaded[0].controls.meshColor, QColor(160, 160, 164)); // black is written grey
    EXPECT_TRUE(loaded[0].organsVisibility.isEmpty());
    // Every scene source comes back with the entry written for name3 ("Original"), so the two
    // sources of the second key frame, different when written, now differ only in name.
    const QStringList lines = coretest::dump({loaded[1]}).split('\n').filter(" source '");
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0].section(' ', 3), lines[2].section(' ', 3));
    EXPECT_NE(lines[0].section(' ', 3), lines[1].section(' ', 3)); // the scene's second source
}

// Older files hold opacities as float fractions: times 100 in float arithmetic, truncated, so
// 0.57 is 57 where double arithmetic gives 56.99... and 56. Spin box values go out in the DOM's
// float form and come back through integer conversion: large whole values keep their digits until
// that form turns to an exponent (1e8), which reads as 0, and any fraction reads as 0.
TEST(KeyFrameFileReader, OpacityAndSpinBoxConversionsKeepTheirQuirks)
{
    const struct
    {
        const char* m_pszFraction;
        int m_nPercent;
    } older[] = {{"0.57", 57}, {"0.29", 29}, {"0.58", 58}, {"0.759", 75}, {"1", 100}};
    for (const auto& c : older)
    {
        const KeyFrames loaded =
            read(QStringLiteral("<!DOCTYPE KX3D.KeyFrameAnimation.Data><r><k mesh_opacity='%1' "
                                "organ_opacity='%1'><q x='0' y='0' z='0' w='1'/></k></r>")
                     .arg(c.m_pszFraction));
        ASSERT_EQ(loaded.size(), 1);
        EXPECT_EQ(loaded[0].controls.meshOpacity, c.m_nPercent) << c.m_pszFraction;
        EXPECT_EQ(loaded[0].controls.organOpacity, c.m_nPercent) << c.m_pszFraction;
    }

    const struct
    {
        float m_fWritten;
        float m_fRead;
    } spinBox[] = {{100000.0f, 100000.0f},     {123456.0f, 123456.0f}, {100000.25f, 0.0f},
                   {12345678.0f, 12345678.0f}, {2500000.5f, 0.0f},     {1e8f, 0.0f}};
    const QStringList rows = {"Key Frame 1", "Key Frame 2"};
    for (const auto& c : spinBox)
    {
        QMap<QString, SSpKeyFrameAttributes> map = {{rows[0], makeKeyFrame(0, 0)},
                                                    {rows[1], makeKeyFrame(100, 1)}};
        S3DToolsPDMapData& pd = map[rows[1]].controls.pdMap;
        pd.spinBoxValue = pd.spinBoxMin = pd.spinBoxMax = c.m_fWritten;
        const KeyFrames loaded = read(CKeyFrameFileWriter::write(rows, map, {"Original"}));
        ASSERT_EQ(loaded.size(), 2);
        const S3DToolsPDMapData& back = loaded[1].controls.pdMap;
        EXPECT_EQ(back.spinBoxValue, c.m_fRead) << c.m_fWritten;
        EXPECT_EQ(back.spinBoxMin, c.m_fRead) << c.m_fWritten;
        EXPECT_EQ(back.spinBoxMax, c.m_fRead) << c.m_fWritten;
    }
}

// Missing source indices are read a run at a time; explicit empty elements make the reader go
// through every index, which is the index-by-index loop.
TEST(KeyFrameFileReader, SkippedSourceIndicesEqualTheFullLoop)
{
    const auto text = [](const QString& strCount, bool bFillGaps)
    {
        QString strSources;
        const QMap<int, QString> present = {{1, "Original"}, {4, ""}, {6, "SourceVoxels_1"}};
        for (int k = 0; k < 9; ++k)
        {
            if (present.contains(k))
                strSources +=
                    QStringLiteral("<source_%1 source_name=\"%2\" volume_opacity=\"%3\"/>")
                        .arg(k)
                        .arg(present[k])
                        .arg(10 + k);
            else if (bFillGaps)
                strSources += QStringLiteral("<source_%1/>").arg(k);
        }
        return QStringLiteral("<KeyFrameAnimation><KeyFrame source_list_count=\"%1\">%2"
                              "</KeyFrame></KeyFrameAnimation>")
            .arg(strCount, strSources);
    };
    for (const char* pszCount : {"9", "6", "5", "1", "0", "-3"})
        EXPECT_EQ(coretest::dump(read(text(pszCount, false))),
                  coretest::dump(read(text(pszCount, true))))
            << pszCount;
    EXPECT_EQ(coretest::dump(read(text("2147483647", false))),
              coretest::dump(read(text("8", true))));
}

TEST(KeyFrameFileReader, RefusesOversizedInputBeforeParsing)
{
    const qint64 nMax = CKeyFrameFileReader::MAX_FILE_BYTES;
    EXPECT_TRUE(CKeyFrameFileReader::isFileSizeAcceptable(nMax));
    EXPECT_FALSE(CKeyFrameFileReader::isFileSizeAcceptable(nMax + 1));
    EXPECT_FALSE(CKeyFrameFileReader::isFileSizeAcceptable(-1));
    // Nesting too deep for the DOM is deep_nesting.vkf's.
    const struct
    {
        QString m_strText;
        EStatus m_eStatus;
    } cases[] = {
        {QString(static_cast<int>(nMax) + 1, ' '), EStatus::TooLarge},
        {"<r>" + QStringLiteral("<!---->").repeated(CKeyFrameFileReader::MAX_KEY_FRAMES + 1) +
             "</r>",
         EStatus::TooLarge},
    };
    for (const auto& c : cases)
    {
        const SKeyFrameFileReadResult result =
            CKeyFrameFileReader::read(c.m_strText, sceneControls());
        EXPECT_EQ(result.m_eStatus, c.m_eStatus) << result.m_strDetail.toStdString();
        EXPECT_TRUE(result.m_listKeyFrames.isEmpty());
    }
}

TEST(KeyFrameFilePreScan, CountsDepthAndItemsLexically)
{
    const struct
    {
        const char* m_pszText;
        int m_nMaxDepth;
        qint64 m_nMaxItems;
        EPreScanResult m_eResult;
    } cases[] = {
        {"<a><b><c/></b></a>", 2, 100, EPreScanResult::Acceptable}, // empty elements: no level
        {"<a><b><c></c></b></a>", 2, 100, EPreScanResult::TooDeep},
        {"<a><b/></a><a><b/></a>", 2, 100, EPreScanResult::Acceptable}, // closing tags count down
        {"<a x='>' y=\"<b>\"><!-- <b><c> --><![CDATA[<b><c>]]><?p <b><c>?></a>", 1, 100,
         EPreScanResult::Acceptable},
        {"<!DOCTYPE a [<!ELEMENT a ANY><?p ]><b>?>]><a></a>", 1, 100, EPreScanResult::Acceptable},
        // Only a comment of the document body may mention an entity declaration.
        {"<a><!-- <!ENTITY x 'y'> --></a><!--<!ENTITY-->", 5, 100, EPreScanResult::Acceptable},
        {"<!DOCTYPE a [<!ENTITY x 'y'>]><a><!-- <!ENTITY --></a>", 5, 100,
         EPreScanResult::DeclaresEntities},
        {"<!DOCTYPE a [<!-- <!ENTITY x 'y'> -->]><a/>", 5, 100, EPreScanResult::DeclaresEntities},
        {"<a x='<!ENTITY'/><!-- <!ENTITY -->", 5, 100, EPreScanResult::DeclaresEntities},
        {"<a><![CDATA[<!ENTITY]]></a>", 5, 100, EPreScanResult::DeclaresEntities},
        {"<a b='1' c='2'/>", 5, 3, EPreScanResult::Acceptable},
        {"<a b='1' c='2' d='3'/>", 5, 3, EPreScanResult::TooManyItems},
        {"<a><!----><!----><!----></a>", 5, 3, EPreScanResult::TooManyItems},
        {"<a>x<b/>y</a>", 5, 3, EPreScanResult::TooManyItems},
        {"<a>\n <b/>\n</a>", 5, 2, EPreScanResult::Acceptable}, // white space is no node
        {"<a><b", 1, 100, EPreScanResult::Acceptable},          // left to the parser
    };
    for (const auto& c : cases)
    {
        SPreScanLimits limits;
        limits.m_nMaxDepth = c.m_nMaxDepth;
        limits.m_nMaxItems = c.m_nMaxItems;
        EXPECT_EQ(CKeyFrameFilePreScan::scan(QString::fromUtf8(c.m_pszText), limits), c.m_eResult)
            << c.m_pszText;
    }
}
