// Frames per second of VideoEncoderMAC against the ffmpeg command-line tool on the same raw
// frames, at the recording sizes, plus the tool's other x264 presets at 1920x1080 for
// comparison with the one the encoder uses. Prints one table, then a result line per codec and
// size for the frame rate and the movie's bytes per frame, the tool's being the reference.
#include "KXBenchResult.h"
#include "KXLog.h"
#include "VideoEncoderMAC.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

// The frames cycle through this many distinct pictures (x264 at these presets looks back one
// or two frames, so the cycle is never seen as a repeat).
const int knDistinctFrames = 20;

struct SSize
{
    int m_nWidth, m_nHeight, m_nFrames;
};

// A rendered-looking picture: a vertical gradient background and a shaded, textured ball that
// moves with the frame index.
QImage makeFrame(int nWidth, int nHeight, int nIndex)
{
    QImage image(nWidth, nHeight, QImage::Format_RGB32);
    const double dRadius = nHeight * 0.3;
    const double dCx = nWidth * (0.3 + 0.02 * nIndex);
    const double dCy = nHeight * (0.5 + 0.01 * nIndex);
    for (int y = 0; y < nHeight; ++y)
    {
        auto* pLine = reinterpret_cast<QRgb*>(image.scanLine(y));
        const int nBack = 20 + 60 * y / nHeight;
        for (int x = 0; x < nWidth; ++x)
        {
            const double dx = (x - dCx) / dRadius, dy = (y - dCy) / dRadius;
            const double d2 = dx * dx + dy * dy;
            if (d2 >= 1.0)
            {
                pLine[x] = qRgb(nBack / 2, nBack / 2, nBack);
                continue;
            }
            const double dShade = std::sqrt(1.0 - d2) * (0.6 - 0.4 * dx - 0.4 * dy);
            const int nTexture = ((x / 7 + y / 5 + nIndex) % 3) * 12;
            const int nLevel = std::clamp(int(40 + 200 * dShade) + nTexture, 0, 255);
            pLine[x] = qRgb(nLevel, nLevel * 3 / 4, nLevel / 2);
        }
    }
    return image;
}

// Wall-clock seconds and CPU seconds (all threads of this process, or of waited-for children).
struct SClock
{
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    double m_dCpuStart;
    int m_nWho;
    explicit SClock(int nWho) : m_dCpuStart(cpu(nWho)), m_nWho(nWho) {}
    static double cpu(int nWho)
    {
        rusage usage{};
        getrusage(nWho, &usage);
        return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
               (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    }
    double wall() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }
    double cpuSeconds() const { return cpu(m_nWho) - m_dCpuStart; }
};

struct SResult
{
    double m_dFps = 0; // frames per wall-clock second; 0: failed or not run
    double m_dCpuMsPerFrame = 0;
};

double kbPerFrame(const QString& strFile, int nFrames)
{
    return QFileInfo(strFile).size() / 1024.0 / nFrames;
}

// Our encoder, encode and close together.
SResult runOurs(const std::vector<QImage>& frames, const SSize& size, const QString& strFile,
                unsigned nBitRate)
{
    VideoEncoderMAC encoder;
    if (!encoder.createMovieFile(strFile, size.m_nWidth, size.m_nHeight, nBitRate, 20, 25))
        return {};
    const SClock clock(RUSAGE_SELF);
    for (int i = 0; i < size.m_nFrames; ++i)
        encoder.encodeImage(frames[i % frames.size()]);
    if (!encoder.close())
        return {};
    return {size.m_nFrames / clock.wall(), 1000 * clock.cpuSeconds() / size.m_nFrames};
}

// The ffmpeg tool on the same frames (the raw file looped), the whole run.
SResult runTool(const QString& strRaw, const SSize& size, const QString& strCodecArgs,
                const QString& strFile)
{
    const QString strCommand =
        QStringLiteral("ffmpeg -nostdin -v error -y -f rawvideo -pix_fmt bgra -s %1x%2 -r 10 "
                       "-stream_loop -1 -i '%3' -frames:v %4 %5 '%6'")
            .arg(size.m_nWidth)
            .arg(size.m_nHeight)
            .arg(strRaw)
            .arg(size.m_nFrames)
            .arg(strCodecArgs, strFile);
    const SClock clock(RUSAGE_CHILDREN);
    if (std::system(strCommand.toLocal8Bit().constData()) != 0)
        return {};
    return {size.m_nFrames / clock.wall(), 1000 * clock.cpuSeconds() / size.m_nFrames};
}

QString figure(double dValue, int nDecimals = 0)
{
    return dValue > 0 ? QString::number(dValue, 'f', nDecimals) : QStringLiteral("-");
}

void printRow(const QStringList& cells)
{
    const int nWidths[] = {9, 22, 6, 8, 10, 7, 8, 10, 8, 10, 3};
    QString strLine;
    for (int i = 0; i < cells.size(); ++i)
        strLine += cells[i].rightJustified(nWidths[i]) + QLatin1Char(' ');
    std::printf("%s\n", strLine.toLocal8Bit().constData());
}

} // namespace

int main()
{
    QTemporaryDir tempDir;
    CKXLogFile::setFilePath(tempDir.filePath("bench.log"));
    const bool bHaveTool = !QStandardPaths::findExecutable("ffmpeg").isEmpty();
    if (!bHaveTool)
        std::printf("ffmpeg tool not found: its columns stay empty\n");

    const SSize sizes[] = {{640, 480, 150}, {1280, 720, 100}, {1920, 1080, 60}};
    struct SOurs
    {
        std::string m_strCase;
        double m_dFps, m_dToolFps, m_dKb, m_dToolKb;
    };
    std::vector<SOurs> results;
    printRow({"size", "codec", "frames", "ours fps", "ffmpeg fps", "ours/ff", "ours cpu",
              "ffmpeg cpu", "ours KB", "ffmpeg KB", "log"});
    for (const SSize& size : sizes)
    {
        std::vector<QImage> frames;
        const QString strRaw = tempDir.filePath("frames.raw");
        QFile raw(strRaw);
        if (!raw.open(QIODevice::WriteOnly))
            return 1;
        for (int i = 0; i < knDistinctFrames; ++i)
        {
            frames.push_back(makeFrame(size.m_nWidth, size.m_nHeight, i));
            raw.write(reinterpret_cast<const char*>(frames.back().constBits()),
                      frames.back().sizeInBytes());
        }
        raw.close();

        // MPEG-2 gets the rate the encoder derives from 1 Mbit/s for this frame area.
        const double dArea = double(size.m_nWidth) * size.m_nHeight;
        const qint64 nMpeg2Rate = qint64(1000000 * std::max(1.0, dArea / (640.0 * 480.0)));
        const auto x264 = [](const char* szPreset)
        {
            return QStringLiteral("-c:v libx264 -preset %1 -crf 25 -g 20 -pix_fmt yuv420p "
                                  "-movflags +faststart")
                .arg(szPreset);
        };
        const QString strMpeg2 = QStringLiteral("-c:v mpeg2video -b:v %1 -maxrate %2 -bufsize "
                                                "%1 -g 20 -pix_fmt yuv420p -f vob")
                                     .arg(nMpeg2Rate)
                                     .arg(2 * nMpeg2Rate);
        // The tool-only rows put the encoder's preset among its neighbours.
        const struct
        {
            const char* m_szName;
            const char* m_szExtension;
            QString m_strToolArgs;
            bool m_bOurs;
        } runs[] = {
            {"H.264 veryfast", "mp4", x264("veryfast"), true},
            {"MPEG-2", "mpg", strMpeg2, true},
            {"H.264 ultrafast (tool)", "mp4", x264("ultrafast"), false},
            {"H.264 superfast (tool)", "mp4", x264("superfast"), false},
            {"H.264 medium (tool)", "mp4", x264("medium"), false},
        };
        for (const auto& run : runs)
        {
            if (!run.m_bOurs && size.m_nWidth != 1920)
                continue;
            const QString strOurs = tempDir.filePath(QStringLiteral("ours.") + run.m_szExtension);
            const QString strTool = tempDir.filePath(QStringLiteral("tool.") + run.m_szExtension);
            CKXLogFile::clearRecentLines();
            const SResult ours = run.m_bOurs ? runOurs(frames, size, strOurs, 1000000) : SResult();
            const int nLogLines = CKXLogFile::recentLines().size();
            const SResult tool =
                bHaveTool ? runTool(strRaw, size, run.m_strToolArgs, strTool) : SResult();
            const bool bBoth = ours.m_dFps > 0 && tool.m_dFps > 0;
            printRow({QStringLiteral("%1x%2").arg(size.m_nWidth).arg(size.m_nHeight), run.m_szName,
                      QString::number(size.m_nFrames), figure(ours.m_dFps), figure(tool.m_dFps),
                      bBoth ? figure(ours.m_dFps / tool.m_dFps, 2) : "-",
                      figure(ours.m_dCpuMsPerFrame, 1), figure(tool.m_dCpuMsPerFrame, 1),
                      ours.m_dFps > 0 ? figure(kbPerFrame(strOurs, size.m_nFrames), 1) : "-",
                      tool.m_dFps > 0 ? figure(kbPerFrame(strTool, size.m_nFrames), 1) : "-",
                      run.m_bOurs ? QString::number(nLogLines) : "-"});
            std::fflush(stdout);
            if (run.m_bOurs)
            {
                const QString strCase = QStringLiteral("%1 %2x%3")
                                            .arg(run.m_szName)
                                            .arg(size.m_nWidth)
                                            .arg(size.m_nHeight);
                results.push_back({strCase.toStdString(), ours.m_dFps, tool.m_dFps,
                                   ours.m_dFps > 0 ? kbPerFrame(strOurs, size.m_nFrames) : 0,
                                   tool.m_dFps > 0 ? kbPerFrame(strTool, size.m_nFrames) : 0});
            }
            QFile::remove(strOurs);
            QFile::remove(strTool);
        }
        QFile::remove(strRaw);
    }
    std::printf("fps: frames per wall-clock second, encoding through close (ours) or the whole "
                "ffmpeg run (startup included).\ncpu: CPU ms per frame, all threads. KB: bytes "
                "per frame in the movie. log: lines our encoder logged (underflows, errors).\n");
    for (const SOurs& r : results)
    {
        kxBenchResult("VideoEncoderMAC " + r.m_strCase, r.m_dFps, "fps",
                      "ffmpeg tool, same settings", r.m_dToolFps, EKXBetter::Higher);
        kxBenchResult("VideoEncoderMAC " + r.m_strCase + " movie size", r.m_dKb, "KB/frame",
                      "ffmpeg tool, same settings", r.m_dToolKb, EKXBetter::Lower);
    }
    return 0;
}
