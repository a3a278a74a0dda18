// Key frame list rules without widgets: naming and numbering, the time stamp layout, the time
// order of the rows and the update test. The animation dialog keeps the rows (key frame names,
// in list order) in its list box and the records in a name -> record map; these functions take
// both and never touch a widget, so the rules can be checked without a window.
//
// Time stamps are doubles on the dialog's time scale, 0 .. the time scale maximum (100).
#ifndef KEYFRAMELIST_H
#define KEYFRAMELIST_H

#include "KeyFrameRecords.h"

#include <QMap>
#include <QString>
#include <QStringList>

namespace KeyFrameList
{

using KeyFrameMap = QMap<QString, SSpKeyFrameAttributes>;

// A sequence holds at most this many key frames. The number is fixed on purpose and is not
// derived from the time scale's range, although the refusal message speaks of that limit.
inline constexpr int MAX_KEY_FRAMES = 51;

// "Key Frame %1" with the number in plain decimal ("Key Frame 7").
QString keyFrameName(int nNumber);

// The number of a row text: everything after the first nine characters ("Key Frame"), trimmed,
// read as a decimal integer; 0 when that does not parse.
int keyFrameNumber(const QString& strRowText);

// The number for the next key frame: one more than the highest number in use, but never less
// than the row count + 1. A deleted number comes back only when it was above all others.
int nextKeyFrameNumber(const QStringList& rows);

// Spreads the stamps of the rows' key frames evenly over 0 .. dMaximum in row order. One key
// frame sits at dMaximum, two at 0 and dMaximum; the last row always gets exactly dMaximum.
// A row whose name is missing from the map gets a default record there.
void adjustTimeStamps(const QStringList& rows, double dMaximum, KeyFrameMap& keyFrames);

// The rows in ascending time stamp order. Equal stamps keep their relative order (a bubble
// sort that never swaps equal or unordered stamps). A missing record counts as stamp 0.
QStringList timeStampOrder(const QStringList& rows, const KeyFrameMap& keyFrames);

// Whether the key frame in nRow may take the stamp dTimeStamp: it must lie strictly after the
// previous row's stamp and strictly before the next row's.
bool fitsBetweenNeighbours(const QStringList& rows, const KeyFrameMap& keyFrames, int nRow,
                           double dTimeStamp);

// Copies into `into` the per-source settings of every source of `from` that `into` lacks
// (names compared case-sensitively). Existing entries keep their values. Returns how many
// sources were added.
int addMissingSources(const tag_s3Dcontrols& from, tag_s3Dcontrols& into);

// The organ map a capture stores: the host's map as it is while the organs are shown as a
// whole, otherwise the same names all hidden.
QMap<QString, bool> capturedOrganVisibility(const QMap<QString, bool>& hostMap,
                                            bool bOrgansVisible);

} // namespace KeyFrameList

#endif // KEYFRAMELIST_H
