// The movie types this host can write.
#ifndef CKXSMOVIEEXPORTER_H
#define CKXSMOVIEEXPORTER_H

#include "KeyFrameRecords.h"

#include <QStringList>

class CKXSMovieExporter
{
public:
    CKXSMovieExporter();
    ~CKXSMovieExporter();

    // Extensions ("mp4", "mov", "mpg") and their file dialog filters, in parallel, limited to
    // the containers and codecs the installed FFmpeg can write. Empty when there is none.
    static sMovieTypes populateMovieTypes();
    static QStringList getExtensionList();
    static QStringList getFilterList();
};

#endif // CKXSMOVIEEXPORTER_H
