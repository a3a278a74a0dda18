// The movie encoder, the movie-type list and the log: movies are written, then probed and
// decoded with the ffmpeg tools; refused input must leave a log line and no file.
#include "../common/KXTestFiles.h"
#include "CKXPartialMovieFile.h"
#include "CKXSMovieExporter.h"
#include "KXLog.h"
#include "VideoEncoderMAC.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QMap>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace
{

struct SMovieInfo
{
    QMap<QByteArray, QByteArray> mapFacts; // ffprobe's format_name, codec_name, pix_fmt, ...
    QSize size;
    double dDuration = 0;     // seconds
    QList<QImage> listFrames; // every decoded frame as RGB32
};

QByteArray runTool(const QByteArray& command)
{
    QByteArray output;
    if (FILE* pPipe = popen(command.constData(), "r"))
    {
        char buffer[1 << 16];
        for (size_t n; (n = std::fread(buffer, 1, sizeof(buffer), pPipe)) > 0;)
            output.append(buffer, int(n));
        pclose(pPipe);
    }
    return output;
}

// The movie as the ffmpeg tools see it; they convert to RGB with the matrix the stream declares,
// as players do.
SMovieInfo readMovie(const QString& strPath)
{
    SMovieInfo info;
    const QByteArray file = "'file:" + QFile::encodeName(strPath) + "'";
    const QByteArray facts = runTool("ffprobe -v error -of default=nw=1 -show_entries "
                                     "format=format_name,duration:stream=codec_name,pix_fmt,"
                                     "width,height " +
                                     file);
    for (const QByteArray& line : facts.split('\n'))
        info.mapFacts[line.left(line.indexOf('='))] = line.mid(line.indexOf('=') + 1);
    info.size = QSize(info.mapFacts["width"].toInt(), info.mapFacts["height"].toInt());
    info.dDuration = info.mapFacts["duration"].toDouble();
    const QByteArray pixels = runTool("ffmpeg -v error -i " + file +
                                      " -fps_mode passthrough -f rawvideo -pix_fmt bgra -");
    const int nFrameBytes = info.size.width() * info.size.height() * 4;
    for (int i = 0; nFrameBytes > 0 && i + nFrameBytes <= pixels.size(); i += nFrameBytes)
        info.listFrames << QImage(reinterpret_cast<const uchar*>(pixels.constData()) + i,
                                  info.size.width(), info.size.height(), QImage::Format_RGB32)
                               .copy();
    return info;
}

// Within 12 levels per channel: lossy coding, chroma subsampling and the colour matrix.
::testing::AssertionResult near(QRgb actual, const QColor& expected)
{
    const QColor c(actual);
    const int nError =
        std::max({std::abs(c.red() - expected.red()), std::abs(c.green() - expected.green()),
                  std::abs(c.blue() - expected.blue())});
    return (nError <= 12 ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
           << c.name().toStdString() << " against " << expected.name().toStdString();
}

QImage filled(int nWidth, int nHeight, const QColor& colour)
{
    QImage image(nWidth, nHeight, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

QString logText()
{
    return CKXLogFile::recentLines().join('\n');
}
bool logHas(const char* szText)
{
    return logText().contains(szText);
}

// A flat colour with a noisy band along the top, so frames code to kilobytes as rendered ones
// do: the program stream puts tiny frames several to a packet under one time stamp, and its
// duration can then not be read back.
QImage textured(const QColor& colour, unsigned nSeed)
{
    QImage image = filled(320, 240, colour);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 320; ++x)
        {
            nSeed = nSeed * 1664525u + 1013904223u;
            image.setPixel(x, y, qRgb(nSeed >> 24, (nSeed >> 16) & 255, (nSeed >> 8) & 255));
        }
    return image;
}

class EncoderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CKXLogFile::setFilePath(m_tempDir.filePath("kx3dviewer.log"));
        CKXLogFile::clearRecentLines();
    }
    QString path(const QString& strName) const { return m_tempDir.filePath(strName); }
    QTemporaryDir m_tempDir;
};

struct SFormatCase
{
    const char* m_szFile;
    const char* m_szFormat; // libavformat's demuxer name
    const char* m_szCodec;
};
void PrintTo(const SFormatCase& formatCase, std::ostream* pStream)
{
    *pStream << formatCase.m_szFile;
}

class EncoderFormatTest : public EncoderTest, public ::testing::WithParamInterface<SFormatCase>
{
};

} // namespace

// 12 frames of 12 hues come back as 12 frames of 1.2 s in yuv420p, each hue in its place (the
// frames are encoded on the encoder's own thread).
TEST_P(EncoderFormatTest, RecordsFramesThatReadBackWithTheirColoursInOrder)
{
    const QString strFile = path(GetParam().m_szFile);
    QColor colours[12];
    for (int i = 0; i < 12; ++i)
        colours[i] = QColor::fromHsv(i * 30, 200, 210);
    {
        VideoEncoderMAC encoder;
        ASSERT_TRUE(encoder.createMovieFile(strFile, 320, 240, 1000000, 20, 25))
            << logText().toStdString();
        for (int i = 0; i < 12; ++i)
            ASSERT_TRUE(encoder.encodeImage(textured(colours[i], i)));
        EXPECT_TRUE(encoder.close());
    }
    const SMovieInfo info = readMovie(strFile);
    EXPECT_EQ(info.mapFacts["format_name"].split(',').first(), GetParam().m_szFormat);
    EXPECT_EQ(info.mapFacts["codec_name"], GetParam().m_szCodec);
    EXPECT_EQ(info.mapFacts["pix_fmt"], "yuv420p");
    EXPECT_EQ(info.size, QSize(320, 240));
    EXPECT_NEAR(info.dDuration, 1.2, 0.05);
    ASSERT_EQ(info.listFrames.size(), 12);
    for (int i = 0; i < 12; ++i)
        EXPECT_TRUE(near(info.listFrames[i].pixel(160, 120), colours[i])) << "frame " << i;
    EXPECT_EQ(logText(), QString()); // not a warning, not a program stream underflow

    QFile file(strFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll(); // mp4, mov: the index first, for streaming players
    EXPECT_TRUE(info.mapFacts["codec_name"] != "h264" ||
                bytes.indexOf("moov") < bytes.indexOf("mdat"));
}

INSTANTIATE_TEST_SUITE_P(Containers, EncoderFormatTest,
                         ::testing::Values(SFormatCase{"clip.mp4", "mov", "h264"},
                                           SFormatCase{"clip.MOV", "mov", "h264"},
                                           SFormatCase{"clip.mpg", "mpeg", "mpeg2video"}));

// A 321x241 view recorded into a 322x242 movie: the last column and row are repeated, so the
// red border of the image reaches the movie's edge, in luma and in chroma.
TEST_F(EncoderTest, OddViewFillsEvenMovieByRepeatingTheEdge)
{
    QImage image = filled(321, 241, QColor(128, 128, 128));
    for (int y = 0; y < 241; ++y)
        for (int x = 0; x < 321; ++x)
            if (x >= 300 || y >= 220)
                image.setPixel(x, y, qRgb(220, 40, 40));
    VideoEncoderMAC encoder;
    ASSERT_TRUE(encoder.createMovieFile(path("odd.mp4"), 322, 242, 1000000, 20, 25))
        << logText().toStdString();
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(encoder.encodeImage(image));
    ASSERT_TRUE(encoder.close());
    const SMovieInfo info = readMovie(path("odd.mp4"));
    ASSERT_EQ(info.listFrames.size(), 3);
    const QImage& frame = info.listFrames[2];
    EXPECT_EQ(frame.size(), QSize(322, 242));
    EXPECT_TRUE(near(frame.pixel(100, 100), QColor(128, 128, 128)));
    for (QPoint point : {QPoint(321, 100), QPoint(100, 241), QPoint(321, 241)})
        EXPECT_TRUE(near(frame.pixel(point), QColor(220, 40, 40))) << point.x();
}

TEST_F(EncoderTest, RefusesBadMoviesWithALogLineAndNoFile)
{
    kxWriteFile(path("plainfile"), QByteArray());
    const struct
    {
        QString strFile;
        unsigned nWidth, nHeight;
        int nQuality;
        const char* szReason;
    } cases[] = {
        {path("a.mp4"), 321, 240, 25, "not allowed"},
        {path("b.mp4"), 320, 0, 25, "not allowed"},
        {path("c.mpg"), 20000, 240, 25, "not allowed"},
        {path("d.avi"), 320, 240, 25, "unsupported movie type"},
        {path("e.mp4"), 320, 240, 60, "outside 0..51"},
        {path("missing/f.mp4"), 320, 240, 25, "Cannot create movie"},
        {path("plainfile/g.mov"), 320, 240, 25, "Cannot create movie"},
        {QString(), 320, 240, 25, "no file name"},
    };
    for (const auto& c : cases)
    {
        CKXLogFile::clearRecentLines();
        VideoEncoderMAC encoder;
        EXPECT_FALSE(
            encoder.createMovieFile(c.strFile, c.nWidth, c.nHeight, 1000000, 20, c.nQuality))
            << c.szReason;
        EXPECT_FALSE(encoder.isOpen());
        EXPECT_TRUE(logHas(c.szReason)) << c.szReason;
        EXPECT_TRUE(c.strFile.isEmpty() || !QFile::exists(c.strFile)) << c.szReason;
        CKXLogFile::clearRecentLines(); // a loop that goes on adding frames adds no more lines
        EXPECT_FALSE(encoder.encodeImage(filled(320, 240, Qt::red)));
        EXPECT_EQ(logText(), QString());
    }

    // A refused movie never truncates a file that was there before.
    kxWriteFile(path("old.mp4"), "keep me");
    VideoEncoderMAC encoder;
    EXPECT_FALSE(encoder.createMovieFile(path("old.mp4"), 320, 240, 1000000, 20, 99));
    EXPECT_EQ(kxFileContents(path("old.mp4")), "keep me");
}

TEST_F(EncoderTest, RefusesAReadOnlyFolder)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only folders";
    ASSERT_TRUE(QDir().mkdir(path("ro")));
    QFile::setPermissions(path("ro"), QFile::ReadOwner | QFile::ExeOwner);
    VideoEncoderMAC encoder;
    EXPECT_FALSE(encoder.createMovieFile(path("ro/h.mp4"), 320, 240, 1000000, 20, 25));
    EXPECT_TRUE(logHas("Permission denied"));
    EXPECT_FALSE(QFile::exists(path("ro/h.mp4")));
}

// A disk that fills up (a file size limit here): the failure shows at a later frame, or, as
// H.264 holds frames back and the muxer buffers its writes, only at close() when the limit is hit
// after the last frame. Frames are refused from then on, close() fails, the incomplete movie is
// removed, the older movie of that name is kept byte for byte and the log says why.
TEST_F(EncoderTest, WriteFailuresAreLoggedAndTheOlderMovieKept)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit oldLimit{};
    getrlimit(RLIMIT_FSIZE, &oldLimit);
    const struct
    {
        const char* szName;
        rlim_t nLimit;
        int nFrames;
        bool bRefusesAFrame; // 3 frames fit the encoder's and the muxer's buffers
    } cases[] = {{"big.mpg", 16384, 50, true},
                 {"limit.mp4", 4096, 3, false},
                 {"limit.mov", 4096, 3, false},
                 {"limit.mp4", 65536, 60, true},
                 {"limit.mov", 65536, 60, true}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.szName + std::to_string(c.nLimit));
        CKXLogFile::clearRecentLines();
        kxWriteFile(path(c.szName), "older movie");
        rlimit limit = oldLimit;
        limit.rlim_cur = c.nLimit;
        setrlimit(RLIMIT_FSIZE, &limit);
        VideoEncoderMAC encoder;
        const bool bCreated = encoder.createMovieFile(path(c.szName), 320, 240, 1000000, 20, 25);
        int nAccepted = 0;
        while (nAccepted < c.nFrames && encoder.encodeImage(textured(Qt::gray, nAccepted)))
            ++nAccepted;
        const bool bClosed = encoder.close();
        setrlimit(RLIMIT_FSIZE, &oldLimit);
        EXPECT_TRUE(bCreated);
        EXPECT_GT(nAccepted, 0);
        EXPECT_EQ(nAccepted < c.nFrames, c.bRefusesAFrame) << nAccepted;
        EXPECT_FALSE(bClosed);
        EXPECT_TRUE(logHas("File too large")) << logText().toStdString();
        EXPECT_EQ(kxFileContents(path(c.szName)), "older movie");
        EXPECT_EQ(partialFiles(m_tempDir.path()), QStringList());
    }
}

// Removing the file being written mid-way does not make writes fail: the encoder notices at the
// next frame, so the caller can stop, and never removes a file that took the name since. The
// older movie of the chosen name is not involved.
TEST_F(EncoderTest, AMovieRemovedWhileWrittenIsLostAndItsSuccessorKept)
{
    const QString strFolder = path("take");
    ASSERT_TRUE(QDir().mkpath(strFolder));
    for (const char* szName : {"gone.mpg", "replaced.mp4"})
    {
        CKXLogFile::clearRecentLines();
        const QString strFile = strFolder + "/" + szName;
        kxWriteFile(strFile, "older movie");
        VideoEncoderMAC encoder;
        ASSERT_TRUE(encoder.createMovieFile(strFile, 320, 240, 1000000, 20, 25));
        for (int i = 0; i < 3; ++i)
            ASSERT_TRUE(encoder.encodeImage(textured(Qt::gray, i)));
        const bool bReplaced = strFile.endsWith("mp4");
        const QStringList partials = partialFiles(strFolder);
        ASSERT_EQ(partials.size(), 1) << szName;
        const QString strPartial = strFolder + "/" + partials[0];
        ASSERT_TRUE(QFile::remove(strPartial));
        if (bReplaced)
            kxWriteFile(strPartial, "user's");
        EXPECT_FALSE(encoder.encodeImage(textured(Qt::gray, 3))) << szName;
        EXPECT_TRUE(logHas("was removed or replaced while it was being written")) << szName;
        CKXLogFile::clearRecentLines();
        EXPECT_FALSE(encoder.encodeImage(textured(Qt::gray, 4)));
        EXPECT_FALSE(encoder.close()) << szName;
        EXPECT_EQ(logText(), QString()) << szName; // said once, at the frame that noticed
        EXPECT_EQ(kxFileContents(strPartial), bReplaced ? "user's" : "(none)") << szName;
        EXPECT_EQ(kxFileContents(strFile), "older movie") << szName;
        QFile::remove(strPartial);
    }

    // Gone between the last frame and close(): the trailer is not written, nothing claims
    // success.
    VideoEncoderMAC encoder;
    ASSERT_TRUE(encoder.createMovieFile(path("late.mpg"), 320, 240, 1000000, 20, 25));
    ASSERT_TRUE(encoder.encodeImage(textured(Qt::gray, 0)));
    ASSERT_EQ(partialFiles(m_tempDir.path()).size(), 1);
    ASSERT_TRUE(QFile::remove(path(partialFiles(m_tempDir.path())[0])));
    EXPECT_FALSE(encoder.close());
    EXPECT_TRUE(logHas("was removed or replaced"));
    EXPECT_FALSE(QFile::exists(path("late.mpg")));
}

TEST_F(EncoderTest, RefusesFramesThatDoNotFitAndKeepsTheMovie)
{
    VideoEncoderMAC encoder;
    EXPECT_FALSE(encoder.encodeImage(filled(320, 240, Qt::red)));
    EXPECT_TRUE(logHas("no movie file is open"));
    ASSERT_TRUE(encoder.createMovieFile(path("sizes.mp4"), 320, 240, 1000000, 20, 25));
    for (QSize size : {QSize(318, 240), QSize(320, 238), QSize(322, 240), QSize(0, 0)})
    {
        CKXLogFile::clearRecentLines();
        EXPECT_FALSE(encoder.encodeImage(filled(size.width(), size.height(), Qt::red)));
        EXPECT_TRUE(logHas("refused")) << size.width() << "x" << size.height();
    }
    // Other QImage formats are converted; the movie goes on.
    EXPECT_TRUE(encoder.encodeImage(filled(320, 240, Qt::red)));
    EXPECT_TRUE(
        encoder.encodeImage(filled(320, 240, Qt::red).convertToFormat(QImage::Format_RGB888)));
    EXPECT_TRUE(encoder.close());
    EXPECT_EQ(readMovie(path("sizes.mp4")).listFrames.size(), 2);
}

TEST_F(EncoderTest, EmptyMovieIsRemovedAndDestructorFinishesAMovie)
{
    {
        VideoEncoderMAC encoder;
        ASSERT_TRUE(encoder.createMovieFile(path("empty.mp4"), 64, 64, 1000000, 20, 25));
        EXPECT_EQ(partialFiles(m_tempDir.path()).size(), 1);
        EXPECT_FALSE(encoder.close());
        EXPECT_FALSE(QFile::exists(path("empty.mp4")));
        EXPECT_EQ(partialFiles(m_tempDir.path()), QStringList());
        EXPECT_TRUE(logHas("has no frames"));

        // A relative name with a colon is a file, not an FFmpeg protocol.
        const QString strOldDir = QDir::currentPath();
        QDir::setCurrent(m_tempDir.path());
        ASSERT_TRUE(encoder.createMovieFile("take:1.mpg", 64, 64, 1000000, 20, 25));
        QDir::setCurrent(strOldDir);
        ASSERT_TRUE(encoder.encodeImage(filled(64, 64, Qt::blue)));
    }
    EXPECT_EQ(readMovie(path("take:1.mpg")).listFrames.size(), 1);
}

// The older movie of the chosen name stays byte for byte until the new one is complete: while
// frames are written, after a discard with frames still queued, and after a refusal because the
// name is not a regular file. A complete movie then replaces it with its permissions, also
// through a symbolic link. No hidden file stays behind.
TEST_F(EncoderTest, AnOlderMovieIsReplacedOnlyByAFinishedOne)
{
    const QString strMovie = path("talk.mp4");
    kxWriteFile(strMovie, "older movie");
    ASSERT_TRUE(
        QFile::setPermissions(strMovie, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    VideoEncoderMAC encoder;
    ASSERT_TRUE(encoder.createMovieFile(strMovie, 1920, 1080, 1000000, 20, 25));
    for (int i = 0; i < 8; ++i) // more than the queue holds: the caller waits for the worker
        ASSERT_TRUE(encoder.encodeImage(filled(1920, 1080, QColor::fromHsv(i * 40, 200, 200))));
    EXPECT_EQ(kxFileContents(strMovie), "older movie");
    EXPECT_EQ(partialFiles(m_tempDir.path()).size(), 1);
    encoder.discard();
    EXPECT_FALSE(encoder.isOpen());
    EXPECT_TRUE(encoder.close()); // nothing left to close
    EXPECT_EQ(kxFileContents(strMovie), "older movie");
    EXPECT_EQ(partialFiles(m_tempDir.path()), QStringList());
    EXPECT_EQ(logText(), QString());

    ASSERT_TRUE(encoder.createMovieFile(strMovie, 64, 64, 1000000, 20, 25));
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(encoder.encodeImage(filled(64, 64, Qt::green)));
    EXPECT_TRUE(encoder.close());
    EXPECT_EQ(readMovie(strMovie).listFrames.size(), 5);
    EXPECT_EQ(QFile::permissions(strMovie) & 0x7077,
              QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);

    // Through a link the linked movie is replaced and the link stays.
    ASSERT_TRUE(QDir().mkpath(path("real")));
    kxWriteFile(path("real/clip.mpg"), "older movie");
    ASSERT_TRUE(QFile::link(path("real/clip.mpg"), path("link.mpg")));
    ASSERT_TRUE(encoder.createMovieFile(path("link.mpg"), 64, 64, 1000000, 20, 25));
    ASSERT_TRUE(encoder.encodeImage(filled(64, 64, Qt::blue)));
    EXPECT_TRUE(encoder.close());
    EXPECT_TRUE(QFileInfo(path("link.mpg")).isSymLink());
    EXPECT_EQ(readMovie(path("real/clip.mpg")).listFrames.size(), 1);
    EXPECT_EQ(partialFiles(path("real")), QStringList());

    // A rename would replace a device or a folder itself: refused before anything is written.
    ASSERT_TRUE(QFile::link("/dev/full", path("full.mp4")));
    ASSERT_TRUE(QDir().mkpath(path("folder.mov")));
    for (const char* szName : {"full.mp4", "folder.mov"})
    {
        CKXLogFile::clearRecentLines();
        EXPECT_FALSE(encoder.createMovieFile(path(szName), 64, 64, 1000000, 20, 25)) << szName;
        EXPECT_TRUE(logHas("is not a regular file")) << szName;
    }
    EXPECT_TRUE(QFileInfo(path("full.mp4")).isSymLink());
    EXPECT_TRUE(QFileInfo(path("folder.mov")).isDir());
    EXPECT_EQ(partialFiles(m_tempDir.path()), QStringList());
}

// A recording process killed mid-way leaves the older movie as it was; its hidden file is
// removed by the next movie created in that folder, while a running process's is not.
TEST_F(EncoderTest, AKilledRecordingKeepsTheOlderMovieAndItsLeftoverIsRemovedLater)
{
    const QString strMovie = path("killed.mp4");
    kxWriteFile(strMovie, "older movie");
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0)
    {
        ::close(pipeFds[0]);
        VideoEncoderMAC encoder;
        if (encoder.createMovieFile(strMovie, 320, 240, 1000000, 20, 25))
            for (int i = 0; i < 100000 && encoder.encodeImage(textured(Qt::gray, i)); ++i)
                if (i == 5 && ::write(pipeFds[1], "x", 1) != 1)
                    break;
        _exit(1); // not reached while the parent kills it in time; nothing claims success
    }
    ::close(pipeFds[1]);
    char cByte = 0;
    const bool bRecording = ::read(pipeFds[0], &cByte, 1) == 1;
    ::close(pipeFds[0]);
    kill(nChild, SIGKILL);
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    ASSERT_TRUE(bRecording);
    EXPECT_TRUE(WIFSIGNALED(nStatus));
    EXPECT_EQ(kxFileContents(strMovie), "older movie");
    QStringList partials = partialFiles(m_tempDir.path());
    ASSERT_EQ(partials.size(), 1);
    EXPECT_EQ(CKXPartialMovieFile::ownerOf(partials[0]), nChild);

    CKXLogFile::clearRecentLines();
    VideoEncoderMAC running;
    ASSERT_TRUE(running.createMovieFile(path("other.mpg"), 64, 64, 1000000, 20, 25));
    EXPECT_TRUE(logHas("Removed")) << logText().toStdString();
    partials = partialFiles(m_tempDir.path());
    ASSERT_EQ(partials.size(), 1); // the running one's
    EXPECT_EQ(CKXPartialMovieFile::ownerOf(partials[0]), getpid());
    VideoEncoderMAC next;
    ASSERT_TRUE(next.createMovieFile(path("third.mpg"), 64, 64, 1000000, 20, 25));
    EXPECT_EQ(partialFiles(m_tempDir.path()).size(), 2);
    running.discard();
    next.discard();
    EXPECT_EQ(kxFileContents(strMovie), "older movie");
}

TEST(MovieExporterTest, ListsTheThreeMovieTypesOfThisFfmpeg)
{
    EXPECT_EQ(CKXSMovieExporter::getExtensionList(), QStringList({"mp4", "mov", "mpg"}));
    const QStringList filters = CKXSMovieExporter::getFilterList();
    ASSERT_EQ(filters.size(), 3);
    EXPECT_TRUE(filters[0].contains("(*.mp4)") && filters[1].contains("(*.mov)") &&
                filters[2].contains("(*.mpg)"));
    EXPECT_EQ(CKXSMovieExporter::populateMovieTypes().filters, filters);
}

TEST(LogTest, WritesTimestampedLevelLinesToItsFile)
{
    QTemporaryDir tempDir;
    const QString strPath = tempDir.filePath("sub/dir/test.log");
    CKXLogFile::setFilePath(strPath);
    CKXLogFile::clearRecentLines();
    CKXSLog* pLog = getLogObject();
    ASSERT_EQ(pLog, getLogObject());
    pLog->log("first\nsecond", "Src", 7, "11:05:38", 3, false);
    pLog->log("plain", QString(), 0, QString(), 42, false);
    for (long nLevel : {1L, 2L, 16L})
        pLog->log("x", QString(), 0, QString(), nLevel, false);
    const QStringList lines = CKXLogFile::recentLines();
    ASSERT_EQ(lines.size(), 5);
    EXPECT_TRUE(QRegExp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} warning Src: first \| second )"
                        R"(\[code 7, at 11:05:38\])")
                    .exactMatch(lines[0]))
        << lines[0].toStdString();
    EXPECT_TRUE(lines[1].endsWith(" 42 plain"));
    EXPECT_TRUE(lines[2].contains(" debug x") && lines[3].contains(" info x") &&
                lines[4].contains(" error x"));
    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(file.readAll()), lines.join('\n') + '\n');
    CKXLogFile::clearRecentLines();
    EXPECT_TRUE(CKXLogFile::recentLines().isEmpty());
}
