#include "KeyFrameFilePreScan.h"

#include <QLatin1String>

#include <algorithm>
#include <iterator>

namespace
{

bool startsAt(const QString& strText, int nAt, QLatin1String prefix)
{
    return QStringRef(&strText, nAt, qMin(prefix.size(), strText.size() - nAt)) == prefix;
}

// The index just past the first `terminator` at or after nFrom; -1 when there is none.
int pastTerminator(const QString& strText, int nFrom, QLatin1String terminator)
{
    const int nAt = strText.indexOf(terminator, nFrom);
    return nAt < 0 ? -1 : nAt + terminator.size();
}

// The nodes the text between two markup constructs becomes: one unless it is XML white space
// only (which the parser drops between tags), and two more for every reference to an entity
// other than a character reference or one of the five predefined ones. The parser takes an
// undeclared entity without complaint and makes each reference a node of its own that also
// splits the text around it, so three characters ("&a;") cost two nodes.
qint64 textItems(const QString& strText, int nFrom, int nTo)
{
    static const QLatin1String predefined[] = {QLatin1String("&lt;"),   QLatin1String("&gt;"),
                                               QLatin1String("&amp;"),  QLatin1String("&apos;"),
                                               QLatin1String("&quot;"), QLatin1String("&#")};
    bool bNonSpace = false;
    qint64 nReferences = 0;
    for (int i = nFrom; i < nTo; ++i)
    {
        const ushort c = strText.at(i).unicode();
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
        {
            bNonSpace = true;
        }
        if (c == '&' &&
            std::none_of(std::begin(predefined), std::end(predefined),
                         [&](QLatin1String name) { return startsAt(strText, i, name); }))
        {
            ++nReferences;
        }
    }
    return (bNonSpace ? 1 : 0) + 2 * nReferences;
}

// The nodes a document type's internal subset (between nFrom and nTo) adds: its comments and
// processing instructions become children of the document and its notations nodes of the
// document type. Counted by their openings "<!" and "<?", so such openings inside the
// subset's comments and literals count too; only a subset of millions of them is refused.
qint64 internalSubsetItems(const QString& strText, int nFrom, int nTo)
{
    qint64 nItems = 0;
    for (int i = nFrom; i + 1 < nTo; ++i)
    {
        if (strText.at(i) == QLatin1Char('<') &&
            (strText.at(i + 1) == QLatin1Char('!') || strText.at(i + 1) == QLatin1Char('?')))
        {
            ++nItems;
        }
    }
    return nItems;
}

} // namespace

int CKeyFrameFilePreScan::endOfStartTag(const QString& strText, int nFrom, qint64& nAttributes)
{
    const int nLength = strText.size();
    for (int i = nFrom; i < nLength; ++i)
    {
        const QChar c = strText.at(i);
        if (c == QLatin1Char('"') || c == QLatin1Char('\''))
        {
            ++nAttributes;
            i = strText.indexOf(c, i + 1);
            if (i < 0)
            {
                return -1;
            }
        }
        else if (c == QLatin1Char('>'))
        {
            return i + 1;
        }
    }
    return -1;
}

int CKeyFrameFilePreScan::endOfDocType(const QString& strText, int nFrom)
{
    const int nLength = strText.size();
    bool bInSubset = false;
    for (int i = nFrom; i < nLength; ++i)
    {
        const QChar c = strText.at(i);
        int nSkipTo = i;
        if (c == QLatin1Char('<') && startsAt(strText, i, QLatin1String("<!--")))
        {
            nSkipTo = pastTerminator(strText, i + 4, QLatin1String("-->")) - 1;
        }
        else if (c == QLatin1Char('<') && startsAt(strText, i, QLatin1String("<?")))
        {
            nSkipTo = pastTerminator(strText, i + 2, QLatin1String("?>")) - 1;
        }
        else if (c == QLatin1Char('"') || c == QLatin1Char('\''))
        {
            nSkipTo = strText.indexOf(c, i + 1);
        }
        else if (c == QLatin1Char('['))
        {
            bInSubset = true;
        }
        else if (c == QLatin1Char(']'))
        {
            bInSubset = false;
        }
        else if (c == QLatin1Char('>') && !bInSubset)
        {
            return i + 1;
        }
        if (nSkipTo < 0)
        {
            return -1;
        }
        i = nSkipTo; // the loop then steps past the skipped construct's last character
    }
    return -1;
}

EPreScanResult CKeyFrameFilePreScan::scan(const QString& strText, const SPreScanLimits& limits)
{
    // Entities can only be declared in the document type. Every "<!ENTITY" must lie inside a
    // comment of the document body; anywhere else (the document type, its comments included,
    // or text the scan did not reach) refuses the document, to be safe.
    const QLatin1String entity("<!ENTITY");
    int nEntityAt = strText.indexOf(entity);
    const int nLength = strText.size();
    int nDepth = 0;
    qint64 nItems = 0;
    int i = 0;
    while (i < nLength && nItems <= limits.m_nMaxItems)
    {
        const int nTag = strText.indexOf(QLatin1Char('<'), i);
        nItems += textItems(strText, i, nTag < 0 ? nLength : nTag);
        if (nTag < 0)
        {
            break;
        }
        // Every markup construct but a closing tag becomes a node.
        if (!startsAt(strText, nTag, QLatin1String("</")))
        {
            ++nItems;
        }
        const bool bComment = startsAt(strText, nTag, QLatin1String("<!--"));
        if (bComment)
        {
            i = pastTerminator(strText, nTag + 4, QLatin1String("-->"));
        }
        else if (startsAt(strText, nTag, QLatin1String("<![CDATA[")))
        {
            i = pastTerminator(strText, nTag + 9, QLatin1String("]]>"));
        }
        else if (startsAt(strText, nTag, QLatin1String("<!DOCTYPE")))
        {
            i = endOfDocType(strText, nTag + 9);
            nItems += internalSubsetItems(strText, nTag + 9, i < 0 ? nLength : i);
        }
        else if (startsAt(strText, nTag, QLatin1String("<?")))
        {
            i = pastTerminator(strText, nTag + 2, QLatin1String("?>"));
        }
        else if (startsAt(strText, nTag, QLatin1String("</")))
        {
            nDepth = qMax(0, nDepth - 1);
            i = pastTerminator(strText, nTag + 2, QLatin1String(">"));
        }
        else if (startsAt(strText, nTag, QLatin1String("<!")))
        {
            i = pastTerminator(strText, nTag + 2, QLatin1String(">"));
        }
        else
        {
            i = endOfStartTag(strText, nTag + 1, nItems);
            const bool bEmptyElement = i >= 2 && strText.at(i - 2) == QLatin1Char('/');
            if (i >= 0 && !bEmptyElement && ++nDepth > limits.m_nMaxDepth)
            {
                return EPreScanResult::TooDeep;
            }
        }
        // Past the text before this construct and the construct itself.
        const int nEnd = i < 0 ? nLength : i;
        for (; nEntityAt >= 0 && nEntityAt < nEnd;
             nEntityAt = strText.indexOf(entity, nEntityAt + 1))
        {
            if (!bComment || nEntityAt < nTag)
            {
                return EPreScanResult::DeclaresEntities;
            }
        }
        if (i < 0)
        {
            break; // unterminated markup: the parser refuses the document
        }
    }
    if (nEntityAt >= 0)
    {
        return EPreScanResult::DeclaresEntities;
    }
    return nItems > limits.m_nMaxItems ? EPreScanResult::TooManyItems : EPreScanResult::Acceptable;
}
