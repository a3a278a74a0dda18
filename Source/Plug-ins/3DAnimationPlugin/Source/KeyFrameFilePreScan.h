// A cheap look at a key frame file's text before the DOM parser sees it, to turn away documents
// that would make the parser exhaust memory or the stack:
// - entity declarations: the parser expands internal entities; it stops a single entity at
//   4096 characters, but one such entity referenced a million times still costs gigabytes.
//   Key frame files never declare any. A comment outside the document type may mention
//   "<!ENTITY" (comments are key frames of their own, and the text is the user's);
// - deep nesting: the DOM builds, copies and frees its tree recursively, so a few ten thousand
//   nested elements overflow the stack; key frame files nest four levels deep;
// - node counts far beyond any animation: a file of tiny nodes costs the DOM hundreds of
//   bytes per byte of text.
//
// The scan is lexical (tags, comments, CDATA sections, processing instructions, the document
// type with its internal subset, quoted attribute values) and linear in the text. It does not
// check well-formedness: that stays the parser's job, so every document the parser accepts
// and the scan passes is read exactly as before. A document the parser would refuse anyway
// may be counted loosely.
#ifndef KEYFRAMEFILEPRESCAN_H
#define KEYFRAMEFILEPRESCAN_H

#include <QString>
#include <QtGlobal>

struct SPreScanLimits
{
    int m_nMaxDepth = 256;        // element nesting, the root counting 1
    qint64 m_nMaxItems = 2500000; // elements + attributes + other markup
};

enum class EPreScanResult
{
    Acceptable,
    DeclaresEntities, // "<!ENTITY" outside a comment of the document body (in the document
                      // type, even in its comments, to be safe)
    TooDeep,          // elements nested deeper than m_nMaxDepth
    TooManyItems      // more than m_nMaxItems elements, attributes and other markup
};

class CKeyFrameFilePreScan
{
public:
    static EPreScanResult scan(const QString& strText, const SPreScanLimits& limits);

private:
    // The index just past the '>' that closes the start tag beginning at nFrom, skipping
    // quoted values; -1 when the tag never closes. Counts the tag's attributes.
    static int endOfStartTag(const QString& strText, int nFrom, qint64& nAttributes);
    // The index just past the document type declaration beginning at nFrom (internal subset
    // included); -1 when it never closes.
    static int endOfDocType(const QString& strText, int nFrom);
};

#endif // KEYFRAMEFILEPRESCAN_H
