// Replays the inputs the reader's fuzzer found faults with (tests/data/fuzz/) and every key frame
// file of tests/data through the reader: each must come back, within the reader's limits and with
// a result that agrees with its status. No fuzzing here; "make fuzz" does that. The faults those
// inputs show only cost memory at sizes too large to keep as files, so they are built here.
#include "KeyFrameFileReader.h"

#include "core_test_util.h"

#include <QDir>
#include <QFile>

using EStatus = SKeyFrameFileReadResult::EStatus;

namespace
{

QStringList filesIn(const QString& strDir, const QStringList& filters)
{
    QStringList paths;
    const QDir dir(strDir);
    for (const QString& strName : dir.entryList(filters, QDir::Files, QDir::Name))
    {
        paths.append(dir.filePath(strName));
    }
    return paths;
}

tag_s3Dcontrols sceneControls()
{
    tag_s3Dcontrols c;
    c.name3 = "Original";
    c.sourceControls = {{"Original", coretest::makeSource(1)},
                        {"SourceVoxels_1", coretest::makeSource(2)},
                        {"SourceSurface_1", coretest::makeSource(3)}};
    return c;
}

} // namespace

TEST(FuzzCorpus, EveryFileReadsWithinTheLimits)
{
    const QStringList regressions = filesIn(coretest::dataPath("fuzz"), {"*"});
    const QStringList keyFrameFiles = filesIn(coretest::dataPath(""), {"*.vkf"});
    ASSERT_GE(keyFrameFiles.size(), 10); // the data folder was found
    ASSERT_FALSE(regressions.isEmpty());
    for (const QString& strPath : regressions + keyFrameFiles)
    {
        SCOPED_TRACE(strPath.toStdString());
        QFile file(strPath);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        ASSERT_TRUE(CKeyFrameFileReader::isFileSizeAcceptable(file.size()));
        const SKeyFrameFileReadResult result =
            CKeyFrameFileReader::read(QString::fromUtf8(file.readAll()), sceneControls());
        const bool bLoaded = result.m_eStatus == EStatus::Loaded;
        EXPECT_LE(result.m_listKeyFrames.size(), CKeyFrameFileReader::MAX_KEY_FRAMES);
        EXPECT_TRUE(bLoaded || result.m_listKeyFrames.isEmpty());
        EXPECT_EQ(result.m_strDetail.isEmpty(), bLoaded) << result.m_strDetail.toStdString();
    }
}

// Nodes the parser makes from a few characters each count against the node limit, so a
// file of them is refused before the parser spends hundreds of bytes on each.
TEST(FuzzCorpus, CheapNodesCountAgainstTheLimit)
{
    const int nMax = static_cast<int>(CKeyFrameFileReader::MAX_ITEMS);
    const QString texts[] = {
        // an undeclared entity reference is one node and splits the text: two per reference
        "<KeyFrameAnimation><KeyFrame>" + QStringLiteral("&a;").repeated(nMax / 2 + 1) +
            "</KeyFrame></KeyFrameAnimation>",
        // processing instructions in the document type become children of the document
        "<!DOCTYPE KeyFrameAnimation [" + QStringLiteral("<?p?>").repeated(nMax + 1) +
            "]><KeyFrameAnimation/>",
    };
    for (const QString& strText : texts)
    {
        const SKeyFrameFileReadResult result = CKeyFrameFileReader::read(strText, sceneControls());
        EXPECT_EQ(result.m_eStatus, EStatus::TooLarge) << strText.left(40).toStdString();
        EXPECT_TRUE(result.m_listKeyFrames.isEmpty());
    }
    // Character references and the predefined entities stay inside their text node.
    const QString strText = "<KeyFrameAnimation><KeyFrame>" +
                            QStringLiteral("&lt;&#65;").repeated(nMax / 2 + 1) +
                            "</KeyFrame></KeyFrameAnimation>";
    const SKeyFrameFileReadResult result = CKeyFrameFileReader::read(strText, sceneControls());
    EXPECT_EQ(result.m_eStatus, EStatus::Loaded) << result.m_strDetail.toStdString();
    EXPECT_EQ(result.m_listKeyFrames.size(), 1);
}
