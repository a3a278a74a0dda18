// The movie encoder: QImage frames -> yuv420p -> H.264 (mp4, mov) or MPEG-2 (mpg) with FFmpeg.
//
// Meaning of createMovieFile's three numbers in this host:
// - nBitRate drives MPEG-2 only (H.264 uses a constant rate factor). It is the rate for a
//   640x480 frame; larger frames get it scaled by their area (1920x1080 -> 6.75x), because a
//   fixed 1 Mbit/s turns a full-HD MPEG-2 movie into blocks. Smaller frames keep nBitRate.
//   Peaks may reach twice that rate within a rate-control buffer of one second at the average
//   rate; the program stream muxer sizes its buffers from the same figures.
// - nKeyFrameInterval is the GOP length in frames (20 frames = 2 s at 10 frames per second).
// - nQuality is x264's constant rate factor (25: good for rendered scenes, moderate files).
#include "VideoEncoderMAC.h"

#include "CKXPartialMovieFile.h"
#include "CKXSLog.h"
#include "KXAutomation.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>

#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace
{

const char* const kszLogSource = "VideoEncoderMAC";
// Recordings are generated at 10 frames per second: one encodeImage is 1/10 s of movie.
const int knFramesPerSecond = 10;
// Frames beyond this side length would cost hundreds of MB per frame in the encoder's queues.
const unsigned knMaxSide = 8192;
// Frames handed to the worker thread and not yet taken: enough to even out the rendering's and
// the encoder's ups and downs, and at 3840x2160 still only 100 MB.
const size_t knQueuedFrames = 3;
// The frame area at which nBitRate applies unscaled (see the file comment).
const double kdReferenceArea = 640.0 * 480.0;

// x264 preset for the recording loop, where rendering, framebuffer grabs and encoding share two
// cores (render and grab alone: about 51 frames per second at 1920x1080). bench_viewer_encode at
// 1920x1080, crf 25, CPU ms per frame / KB per frame (ffmpeg tool, same frames):
// ultrafast 16 / 12.9, superfast 26 / 9.6, veryfast 29 / 4.2, medium (the default) 43 / 4.4.
// veryfast needs two thirds of the default's CPU for the same file size; the faster presets
// save another 3 to 13 ms per frame but write 2.3 to 3 times the bytes.
const char* const kszX264Preset = "veryfast";

// The containers and codecs this host writes. CKXSMovieExporter lists the same three entries.
struct SMovieFormat
{
    const char* m_szExtension;
    const char* m_szMuxer;
    const char* m_szEncoder;
};
// "vob" is FFmpeg's plain MPEG-2 program stream (MPEG-2 pack headers, no DVD navigation).
const SMovieFormat ksMovieFormats[] = {
    {"mp4", "mp4", "libx264"}, {"mov", "mov", "libx264"}, {"mpg", "vob", "mpeg2video"}};

void logError(const QString& strMessage)
{
    getLogObject()->log(strMessage, QString::fromLatin1(kszLogSource), 0, QString(), 16, false);
}

QString ffmpegError(int nError)
{
    char szText[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(nError, szText, sizeof(szText));
    return QString::fromLocal8Bit(szText);
}

// FFmpeg's own warnings and errors (x264, the muxers) go to the host log instead of stderr.
// Lines may arrive in pieces and from encoder threads, hence the per-thread buffer.
void forwardFfmpegLog(void* pClass, int nLevel, const char* szFormat, va_list args)
{
    if (nLevel > AV_LOG_WARNING)
        return;
    thread_local int tl_nPrintPrefix = 1;
    thread_local QByteArray tl_line;
    char szPiece[1024];
    av_log_format_line2(pClass, nLevel, szFormat, args, szPiece, sizeof(szPiece), &tl_nPrintPrefix);
    tl_line += szPiece;
    if (!tl_line.endsWith('\n'))
        return;
    tl_line.chop(1);
    getLogObject()->log(QString::fromUtf8(tl_line), QStringLiteral("FFmpeg"), 0, QString(),
                        nLevel <= AV_LOG_ERROR ? 16 : 3, false);
    tl_line.clear();
}

void installFfmpegLogForwarding()
{
    static std::once_flag s_once;
    std::call_once(s_once, [] { av_log_set_callback(forwardFfmpegLog); });
}

const SMovieFormat* findMovieFormat(const QString& strExtension)
{
    for (const SMovieFormat& format : ksMovieFormats)
        if (strExtension == QLatin1String(format.m_szExtension))
            return &format;
    return nullptr;
}

} // namespace

struct VideoEncoderMAC::Private
{
    // Owned by the worker thread between start() and stop(): the caller only reads them while
    // the worker is not running.
    AVFormatContext* m_pFormat = nullptr; // owns the stream and, once opened, the file
    AVCodecContext* m_pCodec = nullptr;
    AVStream* m_pStream = nullptr;
    AVFrame* m_pFrame = nullptr; // the movie-sized yuv420p picture handed to the encoder
    AVPacket* m_pPacket = nullptr;
    SwsContext* m_pScaler = nullptr; // movie-sized RGB32 -> yuv420p
    QImage m_imagePadded;            // movie-sized copy of frames one pixel short of the movie
    int64_t m_nFrames = 0;           // frames encoded

    // Fixed while a movie is open; read by both threads.
    QString m_strFileName; // the movie's name, where it goes when complete
    QString m_strPartName; // the hidden file the movie is written to until then
    int m_nWidth = 0;
    int m_nHeight = 0;
    dev_t m_nDevice = 0; // identity of the partial file we created, to tell it from a file
    ino_t m_nInode = 0;  // that took its name after it (or its folder) was removed

    // Caller's thread only.
    bool m_bFileCreated = false; // the partial file exists because of us: remove it unless kept
    bool m_bOpen = false;
    bool m_bCreateFailed = false; // the last createMovieFile was refused (and logged)
    std::thread m_worker;

    // The hand-over to the worker, guarded by m_mutex.
    std::mutex m_mutex;
    std::condition_variable m_cvWork;  // the worker waits for a frame or the end
    std::condition_variable m_cvSpace; // the caller waits for room in the queue
    std::deque<QImage> m_queueFrames;
    bool m_bFailed = false; // a write failed; later frames are dropped, the movie is not kept
    bool m_bEnd = false;    // no more frames: the worker drains the queue and returns
    bool m_bDrop = false;   // discard: the worker drops what it has not started yet

    bool open(const QString& strFileName, unsigned nWidth, unsigned nHeight, unsigned nBitRate,
              unsigned nKeyFrameInterval, int nQuality);
    bool convert(const QImage& image);
    bool sendAndWrite(AVFrame* pFrame);
    bool isStillOurFile() const;
    bool checkStillOurFile();
    bool failed();
    void markFailed();
    void work();
    bool start();
    void stop(bool bDrop);
    bool finish();
    void release(bool bKeep);
};

bool VideoEncoderMAC::Private::open(const QString& strFileName, unsigned nWidth, unsigned nHeight,
                                    unsigned nBitRate, unsigned nKeyFrameInterval, int nQuality)
{
    if (strFileName.isEmpty())
    {
        logError(QStringLiteral("Cannot create a movie: no file name was given."));
        return false;
    }
    const QFileInfo info(strFileName);
    m_strFileName = info.absoluteFilePath();
    const QString strName = QStringLiteral("'%1'").arg(m_strFileName);
    if (nWidth == 0 || nHeight == 0 || nWidth % 2 != 0 || nHeight % 2 != 0 || nWidth > knMaxSide ||
        nHeight > knMaxSide)
    {
        logError(QStringLiteral("Cannot create movie %1: the size %2x%3 is not allowed (width "
                                "and height must be even, from 2 to %4).")
                     .arg(strName)
                     .arg(nWidth)
                     .arg(nHeight)
                     .arg(knMaxSide));
        return false;
    }
    const SMovieFormat* pMovieFormat = findMovieFormat(info.suffix().toLower());
    if (!pMovieFormat)
    {
        logError(QStringLiteral("Cannot create movie %1: unsupported movie type '%2' (mp4, mov "
                                "and mpg are supported).")
                     .arg(strName, info.suffix()));
        return false;
    }
    const bool bMpeg2 = std::strcmp(pMovieFormat->m_szEncoder, "mpeg2video") == 0;
    if (bMpeg2 && nBitRate == 0)
    {
        logError(QStringLiteral("Cannot create movie %1: MPEG-2 needs a bit rate above 0.")
                     .arg(strName));
        return false;
    }
    if (nQuality < 0 || nQuality > 51)
    {
        logError(QStringLiteral("Cannot create movie %1: quality %2 is outside 0..51.")
                     .arg(strName)
                     .arg(nQuality));
        return false;
    }

    // The finished movie is renamed onto the name: that would replace a device, a folder or a
    // symbolic link itself. A link to a movie is followed, so the movie it leads to is replaced.
    const QFileInfo target(m_strFileName);
    if (target.exists() && !target.isFile())
    {
        logError(QStringLiteral("Cannot create movie %1: that name is taken by something that is "
                                "not a regular file.")
                     .arg(strName));
        return false;
    }
    if (target.isSymLink() && target.exists())
        m_strFileName = target.canonicalFilePath();
    m_strPartName = CKXPartialMovieFile::nameFor(m_strFileName);

    const AVOutputFormat* pOutput = av_guess_format(pMovieFormat->m_szMuxer, nullptr, nullptr);
    const AVCodec* pEncoder = avcodec_find_encoder_by_name(pMovieFormat->m_szEncoder);
    if (!pOutput || !pEncoder)
    {
        logError(QStringLiteral("Cannot create movie %1: this FFmpeg has no %2 %3.")
                     .arg(strName,
                          QString::fromLatin1(pOutput ? pMovieFormat->m_szEncoder
                                                      : pMovieFormat->m_szMuxer),
                          pOutput ? QStringLiteral("encoder") : QStringLiteral("muxer")));
        return false;
    }

    // "file:" keeps FFmpeg from reading a colon in the name as a protocol prefix.
    const QByteArray url = "file:" + QFile::encodeName(m_strPartName);
    int nResult = avformat_alloc_output_context2(&m_pFormat, pOutput, nullptr, url.constData());
    m_pStream = nResult >= 0 ? avformat_new_stream(m_pFormat, nullptr) : nullptr;
    m_pCodec = avcodec_alloc_context3(pEncoder);
    m_pFrame = av_frame_alloc();
    m_pPacket = av_packet_alloc();
    if (!m_pStream || !m_pCodec || !m_pFrame || !m_pPacket)
    {
        logError(QStringLiteral("Cannot create movie %1: out of memory.").arg(strName));
        return false;
    }

    m_nWidth = static_cast<int>(nWidth);
    m_nHeight = static_cast<int>(nHeight);
    m_pCodec->width = static_cast<int>(nWidth);
    m_pCodec->height = static_cast<int>(nHeight);
    m_pCodec->pix_fmt = AV_PIX_FMT_YUV420P;
    m_pCodec->time_base = AVRational{1, knFramesPerSecond};
    m_pCodec->framerate = AVRational{knFramesPerSecond, 1};
    m_pCodec->sample_aspect_ratio = AVRational{1, 1};
    m_pCodec->gop_size = static_cast<int>(std::clamp(nKeyFrameInterval, 1u, 1000u));
    m_pCodec->thread_count = 0; // as many as the encoder likes: they overlap with rendering
    // The conversion below uses BT.709 coefficients, limited range; say so in the stream.
    m_pCodec->colorspace = AVCOL_SPC_BT709;
    m_pCodec->color_primaries = AVCOL_PRI_BT709;
    m_pCodec->color_trc = AVCOL_TRC_BT709;
    m_pCodec->color_range = AVCOL_RANGE_MPEG;
    if (bMpeg2)
    {
        const double dScale = std::max(1.0, double(nWidth) * nHeight / kdReferenceArea);
        m_pCodec->bit_rate = static_cast<int64_t>(nBitRate * dScale);
        m_pCodec->rc_max_rate = 2 * m_pCodec->bit_rate;
        m_pCodec->rc_buffer_size = static_cast<int>(std::min<int64_t>(m_pCodec->bit_rate, 1 << 30));
    }
    else
    {
        av_opt_set(m_pCodec->priv_data, "preset", kszX264Preset, 0);
        av_opt_set_double(m_pCodec->priv_data, "crf", nQuality, 0);
    }
    if (m_pFormat->oformat->flags & AVFMT_GLOBALHEADER)
        m_pCodec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

    // Everything that can fail without touching the disk comes before the file is opened, so a
    // failure never truncates an existing file of that name.
    nResult = avcodec_open2(m_pCodec, pEncoder, nullptr);
    if (nResult < 0)
    {
        logError(QStringLiteral("Cannot create movie %1: the %2 encoder did not start (%3).")
                     .arg(strName, QString::fromLatin1(pMovieFormat->m_szEncoder),
                          ffmpegError(nResult)));
        return false;
    }
    m_pStream->time_base = m_pCodec->time_base;
    m_pStream->avg_frame_rate = m_pCodec->framerate;
    nResult = avcodec_parameters_from_context(m_pStream->codecpar, m_pCodec);
    // The MPEG-PS muxer sizes its buffers from the encoder's buffer properties.
    for (int i = 0; nResult >= 0 && i < m_pCodec->nb_coded_side_data; ++i)
    {
        const AVPacketSideData& sideData = m_pCodec->coded_side_data[i];
        uint8_t* pData = av_stream_new_side_data(m_pStream, sideData.type, sideData.size);
        if (!pData)
            nResult = AVERROR(ENOMEM);
        else
            std::memcpy(pData, sideData.data, sideData.size);
    }
    m_pFrame->format = m_pCodec->pix_fmt;
    m_pFrame->width = m_pCodec->width;
    m_pFrame->height = m_pCodec->height;
    if (nResult >= 0)
        nResult = av_frame_get_buffer(m_pFrame, 0);
    if (nResult < 0)
    {
        logError(QStringLiteral("Cannot create movie %1: %2.").arg(strName, ffmpegError(nResult)));
        return false;
    }
    m_pScaler = sws_getContext(m_pFrame->width, m_pFrame->height, AV_PIX_FMT_RGB32, m_pFrame->width,
                               m_pFrame->height, AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr,
                               nullptr);
    if (!m_pScaler)
    {
        logError(QStringLiteral("Cannot create movie %1: no colour conversion to yuv420p.")
                     .arg(strName));
        return false;
    }
    // Full-range RGB in, BT.709 limited-range YUV out, matching the stream's colour tags.
    const int* pMatrix = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(m_pScaler, pMatrix, 1, pMatrix, 0, 0, 1 << 16, 1 << 16);

    for (const QString& strStale : CKXPartialMovieFile::removeStale(target.absolutePath()))
        getLogObject()->log(QStringLiteral("Removed '%1', the unfinished movie of a recording "
                                           "that ended without closing it.")
                                .arg(strStale),
                            QString::fromLatin1(kszLogSource), 0, QString(), 2, false);
    nResult = avio_open(&m_pFormat->pb, url.constData(), AVIO_FLAG_WRITE);
    if (nResult < 0)
    {
        logError(QStringLiteral("Cannot create movie %1: %2.").arg(strName, ffmpegError(nResult)));
        return false;
    }
    m_bFileCreated = true;
    struct stat created = {};
    if (::stat(QFile::encodeName(m_strPartName).constData(), &created) == 0)
    {
        m_nDevice = created.st_dev;
        m_nInode = created.st_ino;
    }
    AVDictionary* pOptions = nullptr;
    if (!bMpeg2) // the index at the front lets players start before the whole file is read
        av_dict_set(&pOptions, "movflags", "+faststart", 0);
    nResult = avformat_write_header(m_pFormat, &pOptions);
    av_dict_free(&pOptions);
    if (nResult < 0)
    {
        logError(QStringLiteral("Cannot write the header of movie %1: %2.")
                     .arg(strName, ffmpegError(nResult)));
        return false;
    }
    return true;
}

// Fills m_pFrame from the image; an image one pixel short of the movie repeats its last
// column / row.
bool VideoEncoderMAC::Private::convert(const QImage& image)
{
    // Qt's 32-bit formats are 0xAARRGGBB words, which is FFmpeg's native-endian RGB32.
    // Premultiplied colours equal straight ones where opaque, and a video has no alpha.
    QImage converted;
    const QImage* pSource = &image;
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32 &&
        image.format() != QImage::Format_ARGB32_Premultiplied)
    {
        converted = image.convertToFormat(QImage::Format_RGB32);
        pSource = &converted;
    }
    const int nWidth = m_pFrame->width;
    const int nHeight = m_pFrame->height;
    if (pSource->width() != nWidth || pSource->height() != nHeight)
    {
        // Padding in RGB rather than in YUV: converting an odd width leaves the last chroma
        // column a blend with whatever lies beyond the picture.
        if (m_imagePadded.isNull())
            m_imagePadded = QImage(nWidth, nHeight, QImage::Format_RGB32);
        if (m_imagePadded.isNull())
        {
            logError(QStringLiteral("Movie '%1': out of memory.").arg(m_strFileName));
            return false;
        }
        const int nSourceWidth = pSource->width();
        const int nSourceHeight = pSource->height();
        for (int y = 0; y < nHeight; ++y)
        {
            const auto* pFrom = reinterpret_cast<const quint32*>(
                pSource->constScanLine(std::min(y, nSourceHeight - 1)));
            auto* pTo = reinterpret_cast<quint32*>(m_imagePadded.scanLine(y));
            std::memcpy(pTo, pFrom, size_t(nSourceWidth) * sizeof(quint32));
            if (nSourceWidth < nWidth)
                pTo[nWidth - 1] = pFrom[nSourceWidth - 1];
        }
        pSource = &m_imagePadded;
    }
    const int nResult = av_frame_make_writable(m_pFrame); // the encoder may still hold it
    if (nResult < 0)
    {
        logError(QStringLiteral("Movie '%1': %2.").arg(m_strFileName, ffmpegError(nResult)));
        return false;
    }
    const uint8_t* pSrc[1] = {pSource->constBits()};
    const int nSrcStride[1] = {static_cast<int>(pSource->bytesPerLine())};
    sws_scale(m_pScaler, pSrc, nSrcStride, 0, nHeight, m_pFrame->data, m_pFrame->linesize);
    return true;
}

// Sends one frame (null: flush) and writes every packet the encoder has ready.
bool VideoEncoderMAC::Private::sendAndWrite(AVFrame* pFrame)
{
    int nResult = avcodec_send_frame(m_pCodec, pFrame);
    while (nResult >= 0)
    {
        nResult = avcodec_receive_packet(m_pCodec, m_pPacket);
        if (nResult == AVERROR(EAGAIN) || nResult == AVERROR_EOF)
        {
            // Hand this frame's bytes to the system now (nothing happens when there are none):
            // a full disk then shows at this frame instead of after 32 KB more of small frames,
            // and the recording loop stops there. One write call per frame costs nothing next
            // to rendering and encoding it.
            avio_flush(m_pFormat->pb);
            if (m_pFormat->pb->error >= 0)
                return true;
            nResult = m_pFormat->pb->error;
            break;
        }
        if (nResult < 0)
            break;
        av_packet_rescale_ts(m_pPacket, m_pCodec->time_base, m_pStream->time_base);
        m_pPacket->stream_index = m_pStream->index;
        nResult = av_interleaved_write_frame(m_pFormat, m_pPacket); // takes the packet's data
        // The context keeps the first failed write; checked here so that a full disk is
        // never taken for success, whatever the muxer returned.
        if (nResult >= 0 && m_pFormat->pb && m_pFormat->pb->error < 0)
            nResult = m_pFormat->pb->error;
    }
    // While finishing, the encoder's held-back frames are written, not one particular frame.
    const QString strWhat = pFrame ? QStringLiteral("writing frame %1").arg(m_nFrames + 1)
                                   : QStringLiteral("writing its last frames");
    logError(QStringLiteral("Movie '%1': %2 failed (%3).")
                 .arg(m_strFileName, strWhat, ffmpegError(nResult)));
    return false;
}

// The name still leads to the partial file createMovieFile made. On a removed folder or file the
// writes keep succeeding into a file nobody can open any more, so only the name tells.
bool VideoEncoderMAC::Private::isStillOurFile() const
{
    struct stat current = {};
    return m_bFileCreated && ::stat(QFile::encodeName(m_strPartName).constData(), &current) == 0 &&
           current.st_dev == m_nDevice && current.st_ino == m_nInode;
}

// Logs and marks the movie failed when its file is gone.
bool VideoEncoderMAC::Private::checkStillOurFile()
{
    if (isStillOurFile())
        return true;
    logError(QStringLiteral("Movie '%1' was removed or replaced while it was being written (was "
                            "its folder deleted?); the movie is lost.")
                 .arg(m_strFileName));
    markFailed();
    return false;
}

bool VideoEncoderMAC::Private::failed()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_bFailed;
}

void VideoEncoderMAC::Private::markFailed()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bFailed = true;
}

// The worker: converts, encodes and writes the queued frames in order. After a failure (logged
// where it happened) the remaining frames are dropped unseen.
void VideoEncoderMAC::Private::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;)
    {
        m_cvWork.wait(lock, [this] { return !m_queueFrames.empty() || m_bEnd; });
        if (m_queueFrames.empty())
            return;
        const QImage image = std::move(m_queueFrames.front());
        m_queueFrames.pop_front();
        const bool bSkip = m_bFailed || m_bDrop;
        m_cvSpace.notify_all();
        if (bSkip)
            continue;
        lock.unlock();
        bool bOk = convert(image);
        if (bOk)
        {
            m_pFrame->pts = m_nFrames;
            bOk = sendAndWrite(m_pFrame);
        }
        lock.lock();
        if (bOk)
            ++m_nFrames;
        else
            m_bFailed = true;
        m_cvSpace.notify_all();
    }
}

bool VideoEncoderMAC::Private::start()
{
    m_bEnd = false;
    m_bDrop = false;
    try
    {
        m_worker = std::thread([this] { work(); });
    }
    catch (const std::system_error& error)
    {
        logError(QStringLiteral("Cannot create movie '%1': no thread to encode it (%2).")
                     .arg(m_strFileName, QString::fromLocal8Bit(error.what())));
        return false;
    }
    return true;
}

// Waits until the worker has written every queued frame (or, with bDrop, only the one it is
// busy with) and has ended.
void VideoEncoderMAC::Private::stop(bool bDrop)
{
    if (!m_worker.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bEnd = true;
        m_bDrop = m_bDrop || bDrop;
        if (m_bDrop)
            m_queueFrames.clear();
    }
    m_cvWork.notify_all();
    m_worker.join();
}

// Flushes the encoder, writes the trailer and closes the file. Runs after stop().
bool VideoEncoderMAC::Private::finish()
{
    bool bOk = !m_bFailed;
    if (bOk && m_nFrames == 0)
    {
        logError(QStringLiteral("Movie '%1' has no frames; it is not kept.").arg(m_strFileName));
        bOk = false;
    }
    // A gone file is not finished: the mp4 trailer would reopen the name, which may be a
    // different file by now.
    if (bOk)
        bOk = checkStillOurFile();
    if (bOk)
        bOk = sendAndWrite(nullptr);
    if (bOk)
    {
        const int nResult = av_write_trailer(m_pFormat);
        if (nResult < 0)
        {
            logError(QStringLiteral("Cannot finish movie '%1': %2.")
                         .arg(m_strFileName, ffmpegError(nResult)));
            bOk = false;
        }
    }
    if (m_pFormat && m_pFormat->pb)
    {
        // The last buffered bytes reach the disk here: read the context's error before
        // closing frees it, so a disk that filled up at the very end is still reported.
        avio_flush(m_pFormat->pb);
        const int nFlushError = m_pFormat->pb->error;
        int nResult = avio_closep(&m_pFormat->pb);
        if (nResult >= 0 && nFlushError < 0)
            nResult = nFlushError;
        if (bOk && nResult < 0)
        {
            logError(QStringLiteral("Cannot close movie '%1': %2.")
                         .arg(m_strFileName, ffmpegError(nResult)));
            bOk = false;
        }
    }
    // The complete movie takes the name in one step: until here an older file of that name is
    // untouched, and a process killed at any moment leaves either the old or the new movie.
    if (bOk)
        bOk = checkStillOurFile();
    if (bOk)
    {
        const QString strError = CKXPartialMovieFile::commit(m_strPartName, m_strFileName);
        if (!strError.isEmpty())
        {
            logError(QStringLiteral("Cannot put movie '%1' in place (it was written to '%2'): %3.")
                         .arg(m_strFileName, m_strPartName, strError));
            bOk = false;
        }
    }
    return bOk;
}

// Frees everything; removes the partial file unless it became the movie.
void VideoEncoderMAC::Private::release(bool bKeep)
{
    if (m_pFormat && m_pFormat->pb)
        avio_closep(&m_pFormat->pb);
    avformat_free_context(m_pFormat);
    m_pFormat = nullptr;
    m_pStream = nullptr;
    avcodec_free_context(&m_pCodec);
    av_frame_free(&m_pFrame);
    av_packet_free(&m_pPacket);
    sws_freeContext(m_pScaler);
    m_pScaler = nullptr;
    m_imagePadded = QImage();
    // Only the regular file created here: a file that took its name after ours was removed
    // belongs to somebody else.
    if (!bKeep && m_bFileCreated && QFileInfo(m_strPartName).isFile() && isStillOurFile())
        QFile::remove(m_strPartName);
    m_bFileCreated = false;
    m_bFailed = false;
    m_bOpen = false;
    m_nFrames = 0;
    m_queueFrames.clear();
}

VideoEncoderMAC::VideoEncoderMAC() : m_pPrivate(new Private)
{
}

VideoEncoderMAC::~VideoEncoderMAC()
{
    close();
    delete m_pPrivate;
}

bool VideoEncoderMAC::createMovieFile(const QString& strFileName, unsigned nWidth, unsigned nHeight,
                                      unsigned nBitRate, unsigned nKeyFrameInterval, int nQuality)
{
    close();
    installFfmpegLogForwarding();
    if (CKXAutomation::isEnabled())
    {
        SKXRecordedMovie movie;
        movie.strFileName = strFileName;
        movie.size = QSize(static_cast<int>(nWidth), static_cast<int>(nHeight));
        movie.nBitRate = nBitRate;
        movie.nKeyFrameInterval = nKeyFrameInterval;
        movie.nQuality = nQuality;
        CKXAutomation::recordMovie(movie);
    }
    Private& d = *m_pPrivate;
    d.m_bOpen =
        d.open(strFileName, nWidth, nHeight, nBitRate, nKeyFrameInterval, nQuality) && d.start();
    d.m_bCreateFailed = !d.m_bOpen;
    if (!d.m_bOpen)
        d.release(false);
    return d.m_bOpen;
}

bool VideoEncoderMAC::encodeImage(const QImage& image)
{
    if (CKXAutomation::isEnabled())
    {
        CKXAutomation::recordMovieFrame(image.size());
    }
    Private& d = *m_pPrivate;
    if (!d.m_bOpen)
    {
        // After a refused createMovieFile the reason is in the log already; a recording loop
        // that goes on calling must not add one line per frame.
        if (!d.m_bCreateFailed)
            logError(QStringLiteral("Cannot add a frame: no movie file is open."));
        return false;
    }
    if (d.failed())
        return false; // reported when it happened; the movie will be removed on close
    // Checked per frame (one stat, microseconds) so a recording stops at once rather than
    // encoding the rest of its frames into a file that is gone.
    if (!d.checkStillOurFile())
        return false;
    const bool bWidthFits = image.width() == d.m_nWidth || image.width() == d.m_nWidth - 1;
    const bool bHeightFits = image.height() == d.m_nHeight || image.height() == d.m_nHeight - 1;
    if (image.isNull() || !bWidthFits || !bHeightFits)
    {
        logError(QStringLiteral("Movie '%1': frame of %2x%3 refused; the movie is %4x%5 and "
                                "takes frames of that size or one pixel smaller.")
                     .arg(d.m_strFileName)
                     .arg(image.width())
                     .arg(image.height())
                     .arg(d.m_nWidth)
                     .arg(d.m_nHeight));
        return false;
    }
    {
        // The caller waits while the queue is full: memory stays bounded by the queue, and a
        // recording runs no further ahead of its movie than that.
        std::unique_lock<std::mutex> lock(d.m_mutex);
        d.m_cvSpace.wait(lock,
                         [&d] { return d.m_queueFrames.size() < knQueuedFrames || d.m_bFailed; });
        if (d.m_bFailed)
            return false;
        d.m_queueFrames.push_back(image); // shares the pixels; no copy
    }
    d.m_cvWork.notify_one();
    return true;
}

bool VideoEncoderMAC::close()
{
    Private& d = *m_pPrivate;
    if (!d.m_bOpen)
        return true;
    d.stop(false);
    const bool bOk = d.finish();
    d.release(bOk);
    return bOk;
}

void VideoEncoderMAC::discard()
{
    Private& d = *m_pPrivate;
    if (!d.m_bOpen)
        return;
    d.stop(true);
    d.release(false);
}

bool VideoEncoderMAC::isOpen() const
{
    return m_pPrivate->m_bOpen;
}
