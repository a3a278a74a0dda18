// Hostile key frame lists through the whole engine of the 3D Animation plug-in in the real
// viewer: crafted ".vkf" files are loaded through the dialog, then played, recorded, saved and
// loaded again. Every case must end in its defined result or a clear refusal, with the dialog
// idle, the process of a sane size and the user's own files untouched.
#include "CKXPluginTestFixture.h"
#include "CKXSampleScene.h"
#include "KeyFrameFileReader.h"

#include <cmath>
#include <iostream>

#include <malloc.h>

namespace
{

// One key frame of a crafted file. Values are texts, so that anything a file can hold (nan,
// inf, 1e308, garbage) reaches the reader as it would from disk.
struct SCraftedKeyFrame
{
    QString strStamp = QStringLiteral("0");
    QStringList rotation = {"0", "0.2", "0", "0.98"}; // x, y, z, w
    QStringList translation = {"0", "0", "0"};
    QMap<QString, QString> attributes;             // more KeyFrame attributes
    QMap<QString, QMap<QString, QString>> sources; // source_name -> attributes
    bool bOrganList = false;                       // an OrganList the reader finds
    QMap<QString, bool> organs;
};

QString attributeText(const QMap<QString, QString>& attributes)
{
    QString strText;
    for (auto it = attributes.constBegin(); it != attributes.constEnd(); ++it)
    {
        strText += QStringLiteral(" %1=\"%2\"").arg(it.key(), it.value().toHtmlEscaped());
    }
    return strText;
}

// The text of a key frame file. The organ list sits inside TranslationVector, the one place
// where the reader looks for it.
QString craftedFile(const QList<SCraftedKeyFrame>& keyFrames,
                    const QString& strDocType = QStringLiteral("KX42.KeyFrameAnimation.Data"))
{
    QString strText = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE %1>\n"
                                     "<KeyFrameAnimation>\n")
                          .arg(strDocType);
    for (const SCraftedKeyFrame& key : keyFrames)
    {
        QMap<QString, QString> attributes = key.attributes;
        attributes.insert("time_stamp", key.strStamp);
        attributes.insert("source_list_count", QString::number(key.sources.size()));
        strText += QStringLiteral("<KeyFrame%1>").arg(attributeText(attributes));
        int nSource = 0;
        for (auto it = key.sources.constBegin(); it != key.sources.constEnd(); ++it)
        {
            QMap<QString, QString> source = it.value();
            source.insert("source_name", it.key());
            strText += QStringLiteral("<source_%1%2/>").arg(nSource++).arg(attributeText(source));
        }
        strText += QStringLiteral("<RotationQuaternion x=\"%1\" y=\"%2\" z=\"%3\" w=\"%4\"/>")
                       .arg(key.rotation.at(0), key.rotation.at(1), key.rotation.at(2),
                            key.rotation.at(3));
        strText += QStringLiteral("<TranslationVector x=\"%1\" y=\"%2\" z=\"%3\">")
                       .arg(key.translation.at(0), key.translation.at(1), key.translation.at(2));
        if (key.bOrganList)
        {
            strText += QStringLiteral("<OrganList>");
            for (auto it = key.organs.constBegin(); it != key.organs.constEnd(); ++it)
            {
                strText += QStringLiteral("<Organ name=\"%1\" visibility=\"%2\"/>")
                               .arg(it.key().toHtmlEscaped())
                               .arg(it.value() ? 1 : 0);
            }
            strText += QStringLiteral("</OrganList>");
        }
        strText += QStringLiteral("</TranslationVector></KeyFrame>\n");
    }
    return strText + QStringLiteral("</KeyFrameAnimation>\n");
}

// The key frames of a file as the reader sees it, against default scene controls.
QList<SSpKeyFrameAttributes> readBack(const QString& strFile)
{
    return CKeyFrameFileReader::read(QString::fromUtf8(kxFileContents(strFile)), tag_s3Dcontrols())
        .m_listKeyFrames;
}

// Bounds on memory that catch a runaway list. AddressSanitizer keeps freed blocks in
// quarantine and adds shadow memory and redzones, so a sanitized build gets more room.
#if defined(__SANITIZE_ADDRESS__)
constexpr qint64 MEMORY_SCALE = 4;
#else
constexpr qint64 MEMORY_SCALE = 1;
#endif
constexpr qint64 MAX_GROWTH_MB = 400 * MEMORY_SCALE;
constexpr qint64 MAX_PEAK_MB = 1500 * MEMORY_SCALE;

// Resident or peak memory of this process in MB. Freed heap is handed back to the system
// first, so that the resident size counts what is still held, not the allocator's cache.
qint64 memoryMB(const char* pszField)
{
    malloc_trim(0);
    const QStringList lines = QString::fromLatin1(kxFileContents("/proc/self/status")).split('\n');
    for (const QString& strLine : lines)
    {
        if (strLine.startsWith(QLatin1String(pszField)))
        {
            return strLine.section(':', 1).trimmed().section(' ', 0, 0).toLongLong() / 1024;
        }
    }
    return -1;
}

bool isFinite(const unitquaternion& q)
{
    return std::isfinite(q.w()) && std::isfinite(q.x()) && std::isfinite(q.y()) &&
           std::isfinite(q.z());
}

bool isFinite(const Vec3f& v)
{
    return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

bool inPercentRange(int nValue)
{
    return nValue >= 0 && nValue <= 100;
}

// More than one colour in the picture: the scene was drawn, not just cleared.
bool showsSomething(const QImage& image)
{
    const QRgb first = image.pixel(0, 0);
    for (int y = 0; y < image.height(); y += 3)
    {
        for (int x = 0; x < image.width(); x += 3)
        {
            if (image.pixel(x, y) != first)
            {
                return true;
            }
        }
    }
    return false;
}

const QString REFUSAL_START = QStringLiteral("Cannot generate the animation");

class CraftedListTest : public CKXPluginTestFixture
{
protected:
    void SetUp() override
    {
        openDialogOnView(QSize(161, 121), QSize(900, 600)); // small frames record quickly
        if (HasFatalFailure())
        {
            return;
        }
        m_pDuration->setValue(1);
        ASSERT_TRUE(m_dir.isValid());
        if (!qEnvironmentVariableIsEmpty("KX_KEEP_TEST_MOVIES"))
        {
            m_dir.setAutoRemove(false);
            std::cerr << "files kept in " << m_dir.path().toStdString() << '\n';
        }
        // Files of the user's that no case may touch.
        m_userFiles.insert(m_dir.filePath("user.vkf"), "<KeyFrameAnimation/>\n");
        m_userFiles.insert(m_dir.filePath("user.mp4"), QByteArray(4096, 'm'));
        for (auto it = m_userFiles.constBegin(); it != m_userFiles.constEnd(); ++it)
        {
            kxWriteFile(it.key(), it.value());
        }
        m_nStartMB = memoryMB("VmRSS:");
    }

    // Makes a row current and selected in one step, as a click does (the fixture's selectRow
    // deselects first, which shows the initial view in between).
    void showRow(int nRow) { m_pList->setCurrentRow(nRow, QItemSelectionModel::ClearAndSelect); }

    QString path(const QString& strName) const { return m_dir.filePath(strName); }

    void load(const QString& strFile)
    {
        CKXAutomation::enqueueFileName(strFile);
        click("m_pLoadAnimButton");
    }

    void loadCrafted(const QString& strName, const QList<SCraftedKeyFrame>& keyFrames,
                     const QString& strDocType = QStringLiteral("KX42.KeyFrameAnimation.Data"))
    {
        kxWriteFile(path(strName), craftedFile(keyFrames, strDocType).toUtf8());
        load(path(strName));
        ASSERT_EQ(m_pList->count(), keyFrames.size()) << strName.toStdString();
    }

    // Plays to the end; the number of frames shown, or -1 when the list was refused.
    int play()
    {
        CKXAutomation::clearMessages();
        click("m_pPlayButton");
        if (lastMessage().startsWith(REFUSAL_START))
        {
            return -1;
        }
        const QString strProgress = progressText();
        const QString strCount = strProgress.section(' ', 1, 1).remove('[');
        EXPECT_EQ(strProgress, QStringLiteral("Playing [%1 of %1] frames.").arg(strCount));
        return strCount.toInt();
    }

    // Records into strName: with bRefused no movie may appear, otherwise one of nFrames.
    void record(const QString& strName, bool bRefused, int nFrames)
    {
        CKXAutomation::clearMessages();
        CKXAutomation::enqueueFileName(path(strName));
        click("m_pRecordButton");
        if (bRefused)
        {
            EXPECT_TRUE(lastMessage().startsWith(REFUSAL_START)) << lastMessage().toStdString();
            EXPECT_FALSE(QFile::exists(path(strName)));
        }
        else
        {
            EXPECT_EQ(probeMovie(path(strName)).value("nb_read_frames"), QString::number(nFrames))
                << strName.toStdString();
        }
    }

    // Saves the list into strName and loads it back; the list keeps its length.
    void saveAndReload(const QString& strName)
    {
        const int nRows = m_pList->count();
        CKXAutomation::clearMessages();
        CKXAutomation::enqueueFileName(path(strName));
        click("m_pSaveAnimButton");
        EXPECT_EQ(lastMessage(), "Key frame animation saved.");
        load(path(strName));
        EXPECT_EQ(m_pList->count(), nRows);
    }

    // After every case: the dialog and view are idle, the camera is a finite one, memory did not
    // run away and the user's files are intact.
    void expectIdleAndIntact(const QString& strCase)
    {
        SCOPED_TRACE(strCase.toStdString());
        expectIdle();
        EXPECT_TRUE(isFinite(m_pView->getCurrentQuaternion()));
        EXPECT_TRUE(isFinite(m_pView->getTranslationVector()));
        EXPECT_LT(memoryMB("VmRSS:") - m_nStartMB, MAX_GROWTH_MB);
        EXPECT_LT(memoryMB("VmHWM:"), MAX_PEAK_MB);
        for (auto it = m_userFiles.constBegin(); it != m_userFiles.constEnd(); ++it)
        {
            EXPECT_EQ(kxFileContents(it.key()), it.value()) << it.key().toStdString();
        }
    }

    QTemporaryDir m_dir;
    QMap<QString, QByteArray> m_userFiles;
    qint64 m_nStartMB = 0;
};

SCraftedKeyFrame keyAt(const QString& strStamp)
{
    SCraftedKeyFrame key;
    key.strStamp = strStamp;
    return key;
}

} // namespace

TEST_F(CraftedListTest, StampsOffTheScaleOutOfOrderOrNotNumbersPlayOrAreRefused)
{
    struct SCase
    {
        const char* pszName;
        QStringList stamps;
        bool bRefused;
    };
    const QList<SCase> cases = {
        {"negative", {"-50", "30", "100"}, false}, {"unsorted", {"70", "20", "100"}, false},
        {"equal", {"50", "50", "50"}, false},      {"billion", {"0", "1e9"}, true},
        {"minus1e300", {"-1e300", "100"}, true},   {"max", {"0", "1e308"}, true},
        {"nan", {"0", "nan", "100"}, true},        {"inf", {"-inf", "inf"}, true},
    };
    for (const SCase& c : cases)
    {
        const QString strName = QString::fromLatin1(c.pszName);
        QList<SCraftedKeyFrame> keyFrames;
        for (const QString& strStamp : c.stamps)
        {
            keyFrames << keyAt(strStamp);
        }
        loadCrafted(strName + ".vkf", keyFrames);
        const int nFrames = play();
        EXPECT_EQ(nFrames < 0, c.bRefused) << c.pszName;
        record(strName + ".mp4", c.bRefused, nFrames);
        // Selecting each key frame shows it, whatever its stamp (the spin box gets a whole number).
        for (int i = 0; i < m_pList->count(); ++i)
            showRow(i);
        saveAndReload(strName + "-saved.vkf");
        const QList<SSpKeyFrameAttributes> saved = readBack(path(strName + "-saved.vkf"));
        ASSERT_EQ(saved.size(), c.stamps.size()) << c.pszName;
        for (int i = 0; i < saved.size(); ++i)
        {
            const double dStamp = c.stamps.at(i).toDouble();
            EXPECT_TRUE(saved.at(i).timeStamp == dStamp ||
                        (std::isnan(dStamp) && std::isnan(saved.at(i).timeStamp)))
                << c.pszName << " row " << i;
        }
        expectIdleAndIntact(strName);
    }
}

TEST_F(CraftedListTest, NonFiniteCameraKeepsTheLastFiniteOneAndDisplayValuesStayInRange)
{
    const QStringList nonFinite = {"nan", "inf", "-inf"};
    SCraftedKeyFrame good = keyAt("10");
    good.translation = QStringList{"12", "-8", "-30"};
    QList<SCraftedKeyFrame> keyFrames = {good};
    // Rows 1..12: one rotation component not a number; rows 13..21: one translation component.
    for (int nPart = 0; nPart < 2; ++nPart)
    {
        for (int nComponent = 0; nComponent < (nPart == 0 ? 4 : 3); ++nComponent)
        {
            for (const QString& strValue : nonFinite)
            {
                SCraftedKeyFrame key = good;
                key.strStamp = QString::number(10 + keyFrames.size() * 3);
                QStringList& values = nPart == 0 ? key.rotation : key.translation;
                values[nComponent] = strValue;
                keyFrames << key;
            }
        }
    }
    const int nCameraRows = keyFrames.size();
    // Display values far outside their ranges, for the mesh, organs, pd-map and each source.
    const QStringList wild = {"nan", "inf", "1e308", "-1e308", "2147483647", "-2147483648"};
    const QStringList sceneSources = m_pA->scene()->sourceNames();
    for (const QString& strValue : wild)
    {
        SCraftedKeyFrame key = good;
        key.strStamp = QString::number(10 + keyFrames.size() * 3);
        for (const char* pszAttribute :
             {"mesh_opacity", "organ_opacity", "pd_map_spinbox", "pd_map_spinbox_min",
              "pd_map_spinbox_max", "pd_map_slidermin", "pd_map_slidermax", "pd_map_clorbar_index"})
        {
            key.attributes.insert(pszAttribute, strValue);
        }
        for (const QString& strSource : sceneSources)
        {
            for (const char* pszAttribute :
                 {"sourcesurf_opacity", "volume_opacity", "volume_intensity_slider",
                  "volume_intensity_value", "volume_voxel_color", "sourcesurf_draw_mode"})
            {
                key.sources[strSource].insert(pszAttribute, strValue);
            }
        }
        keyFrames << key;
    }
    keyFrames.last().strStamp = "100";
    loadCrafted("camera.vkf", keyFrames);
    // Deselecting shows the view as it was when the list was loaded: another finite camera.
    const unitquaternion loadedRotation = m_pView->getCurrentQuaternion();
    const Vec3f loadedTranslation = m_pView->getTranslationVector();
    ASSERT_NE(loadedTranslation.x(), 12.0);

    showRow(0);
    const unitquaternion goodRotation = m_pView->getCurrentQuaternion();
    const Vec3f goodTranslation = m_pView->getTranslationVector();
    QApplication::processEvents();
    const QImage goodPicture = m_pView->grabFramebuffer();
    ASSERT_TRUE(showsSomething(goodPicture));
    for (int nRow = 1; nRow < m_pList->count(); ++nRow)
    {
        SCOPED_TRACE(nRow);
        showRow(nRow);
        // Each part of the camera that is not finite keeps the view's current value; the
        // finite part is applied. Every crafted camera part equals the good key frame's.
        expectRotationNear(m_pView->getCurrentQuaternion(), goodRotation, 1e-12);
        EXPECT_DOUBLE_EQ(m_pView->getTranslationVector().x(), goodTranslation.x());
        EXPECT_DOUBLE_EQ(m_pView->getTranslationVector().y(), goodTranslation.y());
        EXPECT_DOUBLE_EQ(m_pView->getTranslationVector().z(), goodTranslation.z());
        const tag_s3Dcontrols shown = m_pA->scene()->currentControls();
        EXPECT_TRUE(inPercentRange(shown.meshOpacity)) << shown.meshOpacity;
        EXPECT_TRUE(inPercentRange(shown.organOpacity)) << shown.organOpacity;
        for (const tag_s3DSourceControls& source : shown.sourceControls)
        {
            EXPECT_TRUE(inPercentRange(source.surfaceOpacity)) << source.surfaceOpacity;
            EXPECT_TRUE(inPercentRange(source.volumeOpacity)) << source.volumeOpacity;
            EXPECT_TRUE(std::isfinite(source.intensityValue));
        }
        QApplication::processEvents();
        const QImage picture = m_pView->grabFramebuffer();
        if (nRow < nCameraRows)
        {
            EXPECT_EQ(picture, goodPicture); // same camera, same display: same picture
            // Coming from the loaded camera instead, only the broken part stays behind.
            selectRow(nRow);
            const bool bRotationBroken = nRow <= 12;
            expectRotationNear(m_pView->getCurrentQuaternion(),
                               bRotationBroken ? loadedRotation : goodRotation, 1e-12);
            EXPECT_DOUBLE_EQ(m_pView->getTranslationVector().x(),
                             bRotationBroken ? goodTranslation.x() : loadedTranslation.x());
            showRow(0); // back to the good camera for the next row
        }
        else
        {
            EXPECT_TRUE(showsSomething(picture));
        }
    }

    const int nFrames = play();
    EXPECT_GT(nFrames, 0);
    record("camera.mp4", false, nFrames);
    saveAndReload("camera-saved.vkf");
    expectIdleAndIntact("camera");
}

TEST_F(CraftedListTest, TenThousandKeyFramesLoadPlayRecordSaveAndReload)
{
    // 9,999 key frames packed into the first tenth of the scale, the last one at its end: the
    // packed segments give no frames, the last gives the second's worth.
    QList<SCraftedKeyFrame> keyFrames;
    for (int i = 0; i < 9999; ++i)
    {
        SCraftedKeyFrame key = keyAt(QString::number(i * 0.001, 'g', 17));
        key.rotation = QStringList{"0", QString::number(std::sin(i * 0.0005)), "0",
                                   QString::number(std::cos(i * 0.0005))};
        keyFrames << key;
    }
    keyFrames << keyAt("100");
    loadCrafted("many.vkf", keyFrames);

    const int nFrames = play();
    EXPECT_GE(nFrames, 5);
    EXPECT_LE(nFrames, 11);
    record("many.mp4", false, nFrames);

    // Adding is refused at the key frame limit; the loaded list stays as it is.
    CKXAutomation::clearMessages();
    click("m_pAddKeyframeButton");
    EXPECT_EQ(lastMessage(), "Number of key frames cannot exceed the time scale limit.");
    EXPECT_EQ(m_pList->count(), 10000);

    // The reloaded rows carry their stamps: the time scale shows the selected one's.
    saveAndReload("many-saved.vkf");
    for (const int nRow : {9999, 5000, 7777})
    {
        showRow(nRow);
        EXPECT_EQ(m_pTimeSpin->value(), nRow == 9999 ? 100 : nRow / 1000) << nRow;
    }
    expectIdleAndIntact("many");
}

TEST_F(CraftedListTest, SourcesTheSceneDoesNotHaveAreSkipped)
{
    const tag_s3Dcontrols before = m_pA->scene()->currentControls();
    const QStringList strangers = {"Bogus", "Ghost SourceVoxels 7", "Ghost SourceSurface 7", "",
                                   QString(5000, QChar('x')) + "SourceSurface"};
    QList<SCraftedKeyFrame> keyFrames = {keyAt("5"), keyAt("60"), keyAt("100")};
    for (SCraftedKeyFrame& key : keyFrames)
    {
        for (const QString& strName : strangers)
        {
            key.sources[strName] = {{"volume_visibility", "1"},
                                    {"sourcesurf_group_state", "1"},
                                    {"volume_opacity", "40"}};
        }
    }
    loadCrafted("strangers.vkf", keyFrames);
    for (int i = 0; i < m_pList->count(); ++i)
    {
        showRow(i);
        // The scene's own sources keep their settings and no stranger joins them.
        const tag_s3Dcontrols shown = m_pA->scene()->currentControls();
        EXPECT_EQ(shown.sourceControls.keys(), before.sourceControls.keys());
        for (auto it = before.sourceControls.constBegin(); it != before.sourceControls.constEnd();
             ++it)
        {
            EXPECT_EQ(shown.sourceControls.value(it.key()).volumeVisible, it->volumeVisible);
            EXPECT_EQ(shown.sourceControls.value(it.key()).volumeOpacity, it->volumeOpacity);
        }
    }
    const int nFrames = play();
    EXPECT_GT(nFrames, 0);
    record("strangers.mov", false, nFrames);
    saveAndReload("strangers-saved.vkf");
    // The file names the scene's sources, not the strangers.
    const QList<SSpKeyFrameAttributes> saved = readBack(path("strangers-saved.vkf"));
    ASSERT_EQ(saved.size(), 3);
    EXPECT_EQ(saved.at(0).controls.sourceControls.keys(), before.sourceControls.keys());
    expectIdleAndIntact("strangers");
}

TEST_F(CraftedListTest, EmptyAndHugeOrganMapsPlayRecordAndSave)
{
    const QStringList organs = m_pA->scene()->organNames();
    ASSERT_FALSE(organs.isEmpty());
    SCraftedKeyFrame empty = keyAt("0");
    empty.bOrganList = true;
    SCraftedKeyFrame huge = keyAt("50");
    huge.bOrganList = true;
    for (int i = 0; i < 100000 - organs.size(); ++i)
    {
        huge.organs.insert(QStringLiteral("Organ %1").arg(i), i % 2 == 0);
    }
    for (const QString& strOrgan : organs)
    {
        huge.organs.insert(strOrgan, false);
    }
    ASSERT_EQ(huge.organs.size(), 100000);
    loadCrafted("organs.vkf", {empty, huge, keyAt("100")});

    // An empty map leaves the organs alone; the huge one hides the scene's organs it names.
    const QMap<QString, bool> shownBefore = m_pA->scene()->organsVisibility();
    showRow(0);
    EXPECT_EQ(m_pA->scene()->organsVisibility(), shownBefore);
    showRow(1);
    const QMap<QString, bool> shown = m_pA->scene()->organsVisibility();
    QStringList sortedOrgans = organs;
    sortedOrgans.sort();
    EXPECT_EQ(shown.keys(), sortedOrgans);
    EXPECT_FALSE(shown.values().contains(true)) << "an organ named false stays shown";

    const int nFrames = play();
    EXPECT_EQ(nFrames, 11); // 0..50 and 50..100 at 10 frames per second, the middle once
    record("organs.mpg", false, nFrames);
    saveAndReload("organs-saved.vkf");
    // The organ lists are written but, where the writer puts them, never read back.
    EXPECT_TRUE(kxFileContents(path("organs-saved.vkf")).contains("<Organ name=\"Organ 99\""));
    for (const SSpKeyFrameAttributes& key : readBack(path("organs-saved.vkf")))
    {
        EXPECT_TRUE(key.organsVisibility.isEmpty());
    }
    expectIdleAndIntact("organs");
}
