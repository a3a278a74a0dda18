// The key frame file reader: the key frames of a ".vkf" file of either generation. Pure: the
// dialog opens the file, checks its size with isFileSizeAcceptable, reads the text, empties its
// list, and names the returned key frames Key Frame 1..N in order.
//
// Every child node of the root is one key frame, whatever its kind (comments, text and
// processing instructions count too). Each starts as a copy of the current scene's controls,
// so values the file does not carry keep the scene's; a node without child nodes is not read
// further (scene controls, time stamp 0). Every key frame comes back with isCaptured set.
// A missing or malformed attribute reads as 0 / false.
//
// Generations: a document type equal to "KX3D.KeyFrameAnimation.Data" ignoring case is the
// older one (fractional opacities, children by position, one source kept as "Original");
// any other or none is the current one.
//
// Kept for compatibility with existing files and hosts (do not "fix"):
// - the organ list is looked up inside TranslationVector, so files the writer writes (which
//   put it beside TranslationVector) load with empty organ maps;
// - the photon density spin box values are read as integers: "3" gives 3, "2.5" gives 0;
// - older opacities are fractions, scaled by 100 and truncated (0.759 gives 75).
//
// Bad input: a text longer than MAX_FILE_BYTES characters, with more than MAX_ITEMS nodes and
// attributes or more than MAX_KEY_FRAMES key frames is TooLarge (the dialog reports it and keeps
// its list); text the parser refuses, documents declaring entities and documents nested deeper than
// MAX_NESTING_DEPTH are Unparsable (no key frames). A huge "source_list_count" costs no more than
// the source elements actually present.
#ifndef KEYFRAMEFILEREADER_H
#define KEYFRAMEFILEREADER_H

#include "KeyFrameRecords.h"

#include <QDomElement>
#include <QList>
#include <QString>
#include <QtGlobal>

struct SKeyFrameFileReadResult
{
    enum class EStatus
    {
        Loaded,     // m_listKeyFrames holds the file's key frames (possibly none)
        Unparsable, // not a readable document: no key frames
        TooLarge    // refused before parsing: the dialog keeps its list and reports an error
    };
    EStatus m_eStatus = EStatus::Loaded;
    QList<SSpKeyFrameAttributes> m_listKeyFrames; // in document order
    QString m_strDetail; // why a document was refused, for the log; empty when loaded
};

// A file's text parsed once, so that its key frames can be built against the scene's controls
// of a later moment (the dialog deletes its list, which changes the scene, after deciding that
// the file is acceptable) without parsing it again.
struct SKeyFrameFileDocument
{
    SKeyFrameFileReadResult::EStatus m_eStatus = SKeyFrameFileReadResult::EStatus::Loaded;
    QString m_strDetail; // why it was refused; empty when it parsed
    QDomDocument m_doc;  // null unless m_eStatus is Loaded
};

class CKeyFrameFileReader
{
public:
    // Far above any real animation: 51 key frames with four sources are about 200 KB, a
    // 10,000 key frame file with four sources about 40 MB.
    static constexpr qint64 MAX_FILE_BYTES = 64 * 1024 * 1024;
    // Key frame files nest four levels deep.
    static constexpr int MAX_NESTING_DEPTH = 256;
    // Elements, attributes and other nodes. The DOM spends roughly 200 to 500 bytes on each,
    // so this bounds the memory a parse can take; a 10,000 key frame file with four sources
    // has about 1.9 million.
    static constexpr qint64 MAX_ITEMS = 2500000;
    // Child nodes of the root, each a key frame record of about a kilobyte.
    static constexpr int MAX_KEY_FRAMES = 100000;

    // Whether a file of this many bytes may be read at all; the dialog asks before reading.
    static bool isFileSizeAcceptable(qint64 nFileBytes);

    // The key frames of a file's text. `sceneControls` is the current scene's
    // tag_s3Dcontrols (CKXSToolInfo::get3DControls), the starting state of every key frame.
    static SKeyFrameFileReadResult read(const QString& strText,
                                        const tag_s3Dcontrols& sceneControls);

    // The two halves of read(): the checks and the parse, then the key frames of a parsed
    // document (none unless its status is Loaded). read() is parse() then keyFrames().
    static SKeyFrameFileDocument parse(const QString& strText);
    static SKeyFrameFileReadResult keyFrames(const SKeyFrameFileDocument& document,
                                             const tag_s3Dcontrols& sceneControls);

private:
    static void readOlderGeneration(const QDomNode& node, SSpKeyFrameAttributes& key);
    static void readCurrentGeneration(const QDomElement& element, SSpKeyFrameAttributes& key);
};

#endif // KEYFRAMEFILEREADER_H
