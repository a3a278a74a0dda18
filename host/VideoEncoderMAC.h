// Encodes a series of equally sized QImage frames into a movie file.
//
// The container follows the file's extension: mp4 and mov hold H.264, mpg holds MPEG-2 video,
// all in yuv420p at 10 frames per second (the rate at which recordings are generated, so a
// movie lasts as long as its animation).
#ifndef VIDEOENCODERMAC_H
#define VIDEOENCODERMAC_H

#include <QString>

class QImage;

class VideoEncoderMAC
{
public:
    VideoEncoderMAC();
    // Closes an open movie as close() does.
    ~VideoEncoderMAC();

    // Creates the movie file. nWidth and nHeight must be even, nonzero and at most 8192.
    // nBitRate: MPEG-2 target bit rate in bits per second for a 640x480 frame, scaled with the
    // frame area (H.264 ignores it). nKeyFrameInterval: frames between key frames (1..1000).
    // nQuality: H.264 constant rate factor, 0 (lossless) .. 51 (worst). Returns false (and
    // logs why) when the file cannot be written or no encoder is available; no file is left
    // behind then and an existing file of that name is not touched.
    bool createMovieFile(const QString& strFileName, unsigned nWidth, unsigned nHeight,
                         unsigned nBitRate, unsigned nKeyFrameInterval, int nQuality);
    // Appends one frame. The image may be one pixel narrower and/or lower than the movie (a view
    // of odd size recorded into an even movie): the last column / row is then repeated. Any
    // other size is refused with false. Also false (logged once) when writing failed, e.g. a
    // full disk or a file size limit, or when the file or its folder was removed meanwhile:
    // the movie is then lost, every later frame is refused without a log line and close()
    // discards it, so a caller should stop at the first false. Each frame's bytes are written
    // out before encodeImage returns, but H.264 holds up to about 25 frames back: a full disk
    // may show that many frames after it filled up, or only at close().
    bool encodeImage(const QImage& image);
    // Flushes the encoder and finishes the file. Returns false when the movie is not complete
    // (a write failed now or earlier, no frame was added, or the file is gone); the incomplete
    // file is removed then, but only while its name still leads to the file created here, so
    // after false nothing of this movie is left and a file that took the name meanwhile is
    // left alone. After true the file is complete and belongs to the caller. An older file of
    // the same name is replaced as soon as createMovieFile succeeds (the user chose the name
    // and confirmed the replacement in the save dialog); it is not restored on failure.
    bool close();

    // A movie file is open.
    bool isOpen() const;

private:
    VideoEncoderMAC(const VideoEncoderMAC&) = delete;
    VideoEncoderMAC& operator=(const VideoEncoderMAC&) = delete;
    struct Private;
    Private* m_pPrivate;
};

#endif // VIDEOENCODERMAC_H
