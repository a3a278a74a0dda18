// The key frame file writer: the dialog's key frame list as the text of a current-generation
// ".vkf" file. Pure: the dialog picks the file, writes the text as UTF-8 and shows the messages.
//
// Layout: the line <?xml version="1.0" encoding="UTF-8"?>, the document type
// KX42.KeyFrameAnimation.Data, the root KeyFrameAnimation with one KeyFrame element per list
// row (id = row + 1), one space of indentation per level, and a final empty line. Doubles are
// written with 17 significant digits, the photon density spin box values as floats with 6,
// booleans as 0 and 1.
//
// Kept for compatibility with existing files and hosts (do not "fix"):
// - a black mesh colour is written as 160/160/164;
// - a rotation whose vector part is (0, 0, 0) is written with x = 1, and one with a component
//   of magnitude below 1e-12 as (1, 0, 0); w is written as it is (only the file changes);
// - every source element of a key frame carries the settings of the one entry named by the
//   record's controls.name3 (a default entry when missing); only source_name differs;
// - the attribute names "mulitmodality_volume" and "pd_map_clorbar_index" are spelt so.
//
// Attributes appear in ascending name order, so that saving the same list twice gives the same
// bytes (the DOM itself keeps them in a hash whose order changes from run to run).
#ifndef KEYFRAMEFILEWRITER_H
#define KEYFRAMEFILEWRITER_H

#include "KeyFrameRecords.h"

#include <QDomDocument>
#include <QMap>
#include <QString>
#include <QStringList>

class CKeyFrameFileWriter
{
public:
    // The complete file text for the rows `rows` (key frame names in list order).
    // `keyFrames` is taken by reference because a row whose name is missing from it is
    // inserted there with a default record, which is then written (the save command has
    // always done so). `sceneSources` are the source names of the current scene in ascending
    // order, i.e. the keys of the scene's tag_s3Dcontrols::sourceControls; every key frame
    // gets one source element per name.
    static QString write(const QStringList& rows, QMap<QString, SSpKeyFrameAttributes>& keyFrames,
                         const QStringList& sceneSources);

    // The document write() writes, for callers that want the DOM.
    static QDomDocument buildDocument(const QStringList& rows,
                                      QMap<QString, SSpKeyFrameAttributes>& keyFrames,
                                      const QStringList& sceneSources);

    // A document as file text: XML header, document type, elements with indent 1 and sorted
    // attributes, final "\n". Otherwise byte for byte what QDomDocument::toString(1) gives,
    // for documents made of elements and attributes (the only nodes the writer creates).
    static QString toText(const QDomDocument& doc);

private:
    static QDomElement keyFrameElement(QDomDocument& doc, const SSpKeyFrameAttributes& key,
                                       uint nId, const QStringList& sceneSources);
    static QDomElement sourceElement(QDomDocument& doc, const tag_s3DSourceControls& source,
                                     int nIndex, const QString& strName);
    static QDomElement colourElement(QDomDocument& doc, const QString& strName, int nRed,
                                     int nGreen, int nBlue);
    static void appendElement(QString& out, const QDomElement& element, int nDepth);
};

#endif // KEYFRAMEFILEWRITER_H
