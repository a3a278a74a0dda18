// Encodes a series of equally sized QImage frames into a movie file.
//
// The container follows the file's extension: mp4 and mov hold H.264, mpg holds MPEG-2 video,
// all in yuv420p at 10 frames per second (the rate at which recordings are generated, so a
// movie lasts as long as its animation).
//
// The movie is written to a hidden file beside the chosen name and takes that name in one
// atomic rename only when close() completes it. Until then an existing file of the chosen name
// is untouched, byte for byte: a movie that fails, is discarded, or whose process is killed
// leaves it as it was. A hidden file left by a killed process is removed when the next movie is
// created in that folder.
//
// Frames are converted and encoded on a worker thread of the encoder, in the order given; every
// call of this class is made from one thread, the caller's.
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
    // nQuality: H.264 constant rate factor, 0 (lossless) .. 51 (worst). The folder must be
    // writable; a name that is taken by anything but a regular file (a folder, a device) is
    // refused, and a symbolic link to a regular file is followed (that file is replaced at the
    // end). Returns false (and logs why) when the file cannot be written or no encoder is
    // available; no file is left behind then. Closes an open movie first, as close() does.
    bool createMovieFile(const QString& strFileName, unsigned nWidth, unsigned nHeight,
                         unsigned nBitRate, unsigned nKeyFrameInterval, int nQuality);
    // Appends one frame. The image may be one pixel narrower and/or lower than the movie (a view
    // of odd size recorded into an even movie): the last column / row is then repeated. Any
    // other size is refused with false (the movie goes on). The image is queued by implicit
    // sharing, not copied: an image built on the caller's own pixel buffer must keep that
    // buffer unchanged until close() or discard() returns. While 3 frames wait for the worker
    // the call blocks, so at most 4 frames (3 queued, 1 being encoded) are held.
    // Also false (logged once) when writing failed, e.g. a full disk or a file size limit, or
    // when the file or its folder was removed meanwhile: the movie is then lost, every later
    // frame is refused without a log line and close() discards it, so a caller should stop at
    // the first false. A failure shows at a later call than the frame it hit: frames queued
    // behind it, and H.264 holds up to about 25 frames back, so it may show that many frames
    // later, or only at close().
    bool encodeImage(const QImage& image);
    // Waits for the queued frames, flushes the encoder, finishes the file and renames it onto
    // the chosen name, replacing an older file of that name. Returns true when the movie is
    // complete under its name; it then belongs to the caller. Returns false when it is not (a
    // write failed now or earlier, no frame was added, the file is gone, or the rename failed):
    // the hidden file is removed (only while it is still the one created here) and an older
    // file of the chosen name is untouched. Returns true when no movie is open.
    bool close();
    // Ends the movie without keeping it: frames still queued are dropped (the one being
    // encoded is finished first, so this returns within one frame's encoding time), the hidden
    // file is removed and an older file of the chosen name is untouched. No log line; nothing
    // happens when no movie is open.
    void discard();

    // A movie file is open.
    bool isOpen() const;

private:
    VideoEncoderMAC(const VideoEncoderMAC&) = delete;
    VideoEncoderMAC& operator=(const VideoEncoderMAC&) = delete;
    struct Private;
    Private* m_pPrivate;
};

#endif // VIDEOENCODERMAC_H
