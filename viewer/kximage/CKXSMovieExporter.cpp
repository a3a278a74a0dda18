// The movie types offered in the Record dialog: those VideoEncoderMAC can write with the
// installed FFmpeg.
#include "CKXSMovieExporter.h"

#include "KXAutomation.h"

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace
{

// Same containers and codecs as VideoEncoderMAC's table, in the order the dialog offers them.
struct SMovieTypeEntry
{
    const char* m_szExtension;
    const char* m_szFilter;
    const char* m_szMuxer;
    const char* m_szEncoder;
};
const SMovieTypeEntry ksMovieTypeEntries[] = {
    {"mp4", "MPEG-4 Movie (*.mp4)", "mp4", "libx264"},
    {"mov", "QuickTime Movie (*.mov)", "mov", "libx264"},
    {"mpg", "MPEG Movie (*.mpg)", "vob", "mpeg2video"},
};

sMovieTypes findMovieTypes()
{
    sMovieTypes types;
    for (const SMovieTypeEntry& entry : ksMovieTypeEntries)
    {
        if (!av_guess_format(entry.m_szMuxer, nullptr, nullptr) ||
            !avcodec_find_encoder_by_name(entry.m_szEncoder))
            continue;
        types.extensions << QString::fromLatin1(entry.m_szExtension);
        types.filters << QString::fromLatin1(entry.m_szFilter);
    }
    return types;
}

} // namespace

CKXSMovieExporter::CKXSMovieExporter() = default;

CKXSMovieExporter::~CKXSMovieExporter() = default;

sMovieTypes CKXSMovieExporter::populateMovieTypes()
{
    if (CKXAutomation::noMovieTypes())
    {
        return sMovieTypes();
    }
    // The installed FFmpeg does not change while the viewer runs.
    static const sMovieTypes s_types = findMovieTypes();
    return s_types;
}

QStringList CKXSMovieExporter::getExtensionList()
{
    return populateMovieTypes().extensions;
}

QStringList CKXSMovieExporter::getFilterList()
{
    return populateMovieTypes().filters;
}
