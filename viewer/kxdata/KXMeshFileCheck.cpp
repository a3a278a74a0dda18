#include "KXMeshFileCheck.h"

#include "KXDataReading.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>

#include <cstring>
#include <limits>

namespace
{

SKXMeshFileCheck refuse(SKXMeshFileCheck check, const QString& strReason)
{
    check.bAcceptable = false;
    check.strReason = strReason;
    return check;
}

QString tooMany(std::int64_t nCount, const char* pszWhat, std::int64_t nLimit)
{
    return QStringLiteral("it declares %1 %2, more than the %3 this viewer accepts.")
        .arg(nCount)
        .arg(QLatin1String(pszWhat))
        .arg(nLimit);
}

QString truncated(std::int64_t nNeeded, std::int64_t nSize)
{
    return QStringLiteral("it is truncated: its header declares at least %1 bytes of data, the "
                          "file holds %2.")
        .arg(nNeeded)
        .arg(nSize);
}

// Bytes of one value of a PLY scalar type; 0 for an unknown type.
int plyTypeSize(const QByteArray& type)
{
    static const struct
    {
        const char* pszName;
        int nSize;
    } types[] = {{"char", 1},  {"uchar", 1},   {"int8", 1},   {"uint8", 1},
                 {"short", 2}, {"ushort", 2},  {"int16", 2},  {"uint16", 2},
                 {"int", 4},   {"uint", 4},    {"int32", 4},  {"uint32", 4},
                 {"float", 4}, {"float32", 4}, {"double", 8}, {"float64", 8}};
    for (const auto& t : types)
        if (type == t.pszName)
            return t.nSize;
    return 0;
}

// The PLY header: element counts and the least data they need. Binary entries need their fixed
// properties' bytes plus each list's count; an ASCII value needs a digit and a separator.
SKXMeshFileCheck checkPly(const QByteArray& header, std::int64_t nFileSize)
{
    SKXMeshFileCheck check;
    check.bIsPly = true;
    // The end must be a line of its own: the import library reads on past one buried in
    // another line, and then never returns.
    int nEnd = -1;
    for (int nAt = header.indexOf("\nend_header"); nAt >= 0 && nEnd < 0;
         nAt = header.indexOf("\nend_header", nAt + 1))
    {
        const int nEol = header.indexOf('\n', nAt + 1);
        const QByteArray rest = header.mid(nAt + 11, nEol < 0 ? -1 : nEol - nAt - 11);
        if (rest.trimmed().isEmpty())
            nEnd = nAt + 1;
    }
    if (nEnd < 0)
        return refuse(check, QStringLiteral("its PLY header has no end (a line \"end_header\")."));
    const int nEol = header.indexOf('\n', nEnd);
    const std::int64_t nHeaderBytes = nEol < 0 ? header.size() : nEol + 1;

    bool bAscii = false;
    std::int64_t nMinimum = 0; // bytes of data the header's elements need at least
    std::int64_t nEntries = 0, nEntryBytes = 0;
    int nElements = 0;
    bool bVertexFixed = true; // the vertex element's entries have one size (no lists)
    QByteArray currentElement;
    auto closeElement = [&]()
    {
        nMinimum += nEntries * nEntryBytes;
        if (currentElement == "vertex" && nElements == 1 && !bAscii && bVertexFixed)
            check.nVertexEntryBytes = nEntryBytes;
    };
    for (int nLine = 0; nLine < nEnd;)
    {
        int nLineEnd = header.indexOf('\n', nLine);
        if (nLineEnd < 0 || nLineEnd > nEnd)
            nLineEnd = nEnd;
        const QList<QByteArray> words = header.mid(nLine, nLineEnd - nLine).simplified().split(' ');
        const int nLineStart = nLine;
        nLine = nLineEnd + 1;
        if (words.isEmpty() || words[0].isEmpty())
            continue;
        if (words[0] == "format" && words.size() >= 2)
            bAscii = words[1] == "ascii";
        else if (words[0] == "element" && words.size() >= 3)
        {
            closeElement();
            if (currentElement == "vertex" && nElements == 1)
                check.nVertexDeclEnd = nLineStart;
            ++nElements;
            bool bOk = false;
            nEntries = words[2].toLongLong(&bOk);
            if (!bOk || nEntries < 0)
                return refuse(check, QStringLiteral("its PLY header declares an element count "
                                                    "that is not a number: \"%1\".")
                                         .arg(QString::fromLatin1(words[2].left(40))));
            nEntryBytes = 0;
            currentElement = words[1];
            if (currentElement == "vertex")
                check.nDeclaredVertices = nEntries;
            else if (currentElement == "face")
                check.nDeclaredFaces = nEntries;
            if (check.nDeclaredVertices > KXDataLimits::kMaxVertices)
                return refuse(check, tooMany(nEntries, "vertices", KXDataLimits::kMaxVertices));
            if (check.nDeclaredFaces > KXDataLimits::kMaxTriangles)
                return refuse(check, tooMany(nEntries, "faces", KXDataLimits::kMaxTriangles));
        }
        else if (words[0] == "property")
        {
            // The import library writes beyond its arrays for a property line it cannot read,
            // so each must name known types, and belong to an element.
            const bool bList = words.size() >= 2 && words[1] == "list";
            const bool bWellFormed =
                !currentElement.isEmpty() &&
                (bList ? words.size() == 5 && plyTypeSize(words[2]) > 0 && plyTypeSize(words[3]) > 0
                       : words.size() == 3 && plyTypeSize(words[1]) > 0);
            if (!bWellFormed)
                return refuse(check, QStringLiteral("its PLY header has a property line it "
                                                    "cannot be read with: \"%1\".")
                                         .arg(QString::fromLatin1(words.join(' ').left(60))));
            const int nSize = bList ? plyTypeSize(words[2]) : plyTypeSize(words[1]);
            nEntryBytes += bAscii ? 2 : nSize;
            if (currentElement == "vertex")
            {
                check.listVertexProperties << QString::fromLatin1(words.last());
                bVertexFixed = bVertexFixed && !bList && nSize > 0;
            }
        }
    }
    closeElement();
    if (currentElement == "vertex" && nElements == 1)
        check.nVertexDeclEnd = nEnd;
    check.bPlyAscii = bAscii;
    check.nPlyDataOffset = nHeaderBytes;
    if (nHeaderBytes + nMinimum > nFileSize)
        return refuse(check, truncated(nMinimum, nFileSize - nHeaderBytes));
    return check;
}

// Binary STL: an 80-byte header, the triangle count, 50 bytes per triangle. A file that starts
// with "solid" and has "facet" soon after is ASCII, which the reader streams.
SKXMeshFileCheck checkStl(const QByteArray& header, std::int64_t nFileSize)
{
    SKXMeshFileCheck check;
    if (header.startsWith("solid"))
    {
        bool bText = true;
        for (char c : header.left(1024))
            bText = bText && (c == '\n' || c == '\r' || c == '\t' || (c >= ' ' && c < 127));
        if (bText)
            return check;
    }
    if (nFileSize < 84)
        return refuse(check,
                      QStringLiteral("it is too short for an STL file (%1 bytes).").arg(nFileSize));
    std::uint32_t nCount = 0;
    std::memcpy(&nCount, header.constData() + 80, 4); // little-endian, as the machine
    if (nCount > KXDataLimits::kMaxTriangles ||
        3 * std::int64_t(nCount) > KXDataLimits::kMaxVertices)
        return refuse(check, tooMany(nCount, "triangles", KXDataLimits::kMaxVertices / 3));
    if (84 + 50 * std::int64_t(nCount) > nFileSize)
        return refuse(check, truncated(50 * std::int64_t(nCount), nFileSize - 84));
    return check;
}

// OFF: the counts follow the keyword; a vertex line needs at least 6 bytes ("0 0 0\n"), a face
// line at least 2.
SKXMeshFileCheck checkOff(const QByteArray& header, std::int64_t nFileSize)
{
    SKXMeshFileCheck check;
    check.bIsOff = true;
    QList<QByteArray> numbers;
    const QList<QByteArray> lines = header.split('\n');
    for (int i = 1; i < lines.size() && numbers.size() < 2; ++i)
    {
        const int nComment = lines[i].indexOf('#');
        const QByteArray line = (nComment < 0 ? lines[i] : lines[i].left(nComment)).simplified();
        if (!line.isEmpty())
            numbers = line.split(' ');
    }
    // The counts may also stand on the keyword's own line.
    const QList<QByteArray> first = lines.value(0).simplified().split(' ');
    if (first.size() >= 3)
        numbers = first.mid(1);
    if (numbers.size() < 2)
        return check; // the library reports the malformed header
    bool bOkV = false, bOkF = false;
    const std::int64_t nVertices = numbers[0].toLongLong(&bOkV);
    const std::int64_t nFaces = numbers[1].toLongLong(&bOkF);
    if (!bOkV || !bOkF)
        return check;
    if (nVertices > KXDataLimits::kMaxVertices)
        return refuse(check, tooMany(nVertices, "vertices", KXDataLimits::kMaxVertices));
    if (nFaces > KXDataLimits::kMaxTriangles)
        return refuse(check, tooMany(nFaces, "faces", KXDataLimits::kMaxTriangles));
    if (6 * nVertices + 2 * nFaces > nFileSize)
        return refuse(check, truncated(6 * nVertices + 2 * nFaces, nFileSize));
    return check;
}

} // namespace

SKXMeshFileCheck kxCheckMeshFileHeader(const QByteArray& header, std::int64_t nFileSize,
                                       const QString& strSuffix)
{
    if (header.startsWith("ply"))
    {
        // The import library takes anything that starts so for PLY, and reads beyond the file
        // when the rest of the line is not empty.
        const int nEol = header.indexOf('\n');
        if (nEol < 0 || header.left(nEol).trimmed() != "ply")
        {
            SKXMeshFileCheck check;
            check.bIsPly = true;
            return refuse(check, QStringLiteral("its first line is not \"ply\"."));
        }
        return checkPly(header, nFileSize);
    }
    const QByteArray firstWord = header.left(16).simplified().split(' ').value(0);
    if (firstWord.endsWith("OFF") && firstWord.size() <= 6)
        return checkOff(header, nFileSize);
    if (header.startsWith("solid") ||
        strSuffix.compare(QLatin1String("stl"), Qt::CaseInsensitive) == 0)
        return checkStl(header, nFileSize);
    SKXMeshFileCheck check;
    check.bIsGltf = header.startsWith("glTF") ||
                    strSuffix.compare(QLatin1String("gltf"), Qt::CaseInsensitive) == 0;
    return check;
}

QString kxCheckOffBody(const char* pData, std::int64_t nSize)
{
    const char* p = pData;
    const char* const pEnd = pData + nSize;
    // The next line that holds something other than a comment, split into words.
    auto nextLine = [&](QList<QByteArray>& words)
    {
        while (p < pEnd)
        {
            const char* pEol = static_cast<const char*>(std::memchr(p, '\n', size_t(pEnd - p)));
            if (!pEol)
                pEol = pEnd;
            QByteArray line = QByteArray::fromRawData(p, int(pEol - p));
            p = pEol + 1;
            const int nComment = line.indexOf('#');
            line = (nComment < 0 ? line : line.left(nComment)).simplified();
            if (!line.isEmpty())
            {
                words = line.split(' ');
                return true;
            }
        }
        return false;
    };
    QList<QByteArray> words;
    if (!nextLine(words))
        return QStringLiteral("it has no OFF header.");
    if (words.size() < 3 && !nextLine(words)) // the counts may stand beside the keyword
        return QStringLiteral("it has no vertex and face counts.");
    if (words[0].endsWith("OFF"))
        words.removeFirst();
    bool bOkV = false, bOkF = false;
    const std::int64_t nVertices = words.value(0).toLongLong(&bOkV);
    const std::int64_t nFaces = words.value(1).toLongLong(&bOkF);
    if (!bOkV || !bOkF || nVertices < 0 || nFaces < 0)
        return QStringLiteral("its vertex and face counts are not numbers.");
    for (std::int64_t v = 0; v < nVertices; ++v)
        if (!nextLine(words) || words.size() < 3)
            return QStringLiteral("vertex %1 of the %2 it declares is missing or incomplete.")
                .arg(v + 1)
                .arg(nVertices);
    for (std::int64_t f = 0; f < nFaces; ++f)
    {
        bool bOk = false;
        const int nCorners = nextLine(words) ? words[0].toInt(&bOk) : 0;
        if (!bOk || nCorners < 1 || nCorners > 9 || words.size() < nCorners + 1)
            return QStringLiteral("face %1 of the %2 it declares is missing or malformed.")
                .arg(f + 1)
                .arg(nFaces);
        for (int c = 1; c <= nCorners; ++c)
        {
            const qint64 nIndex = words[c].toLongLong(&bOk);
            if (!bOk || nIndex < 0 || nIndex >= nVertices)
                return QStringLiteral("face %1 refers to vertex %2 of the %3 it declares.")
                    .arg(f + 1)
                    .arg(QString::fromLatin1(words[c].left(20)))
                    .arg(nVertices);
        }
    }
    return QString();
}

QString kxCheckGltfBody(const char* pData, std::int64_t nSize)
{
    QByteArray json;
    if (nSize >= 20 && std::memcmp(pData, "glTF", 4) == 0)
    {
        // Binary: a 12-byte header, then the JSON chunk's length, its type and the JSON.
        std::uint32_t nLength = 0;
        std::memcpy(&nLength, pData + 12, 4); // little-endian, as the machine
        if (std::memcmp(pData + 16, "JSON", 4) != 0 || nLength > nSize - 20)
            return QString(); // the library reports a malformed container
        json = QByteArray::fromRawData(pData + 20, int(nLength));
    }
    else
    {
        if (nSize > std::numeric_limits<int>::max())
            return QString();
        json = QByteArray::fromRawData(pData, int(nSize));
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        return QStringLiteral("its JSON is malformed at byte %1 (%2).")
            .arg(error.offset)
            .arg(error.errorString());
    const QJsonArray images = document.object().value(QLatin1String("images")).toArray();
    for (int i = 0; i < images.size(); ++i)
    {
        const QJsonValue type = images[i].toObject().value(QLatin1String("mimeType"));
        if (!type.isUndefined() && type != QLatin1String("image/png") &&
            type != QLatin1String("image/jpeg"))
            return QStringLiteral("its image %1 has the type \"%2\"; glTF images are "
                                  "\"image/png\" or \"image/jpeg\".")
                .arg(i)
                .arg(type.toString().left(40));
    }
    return QString();
}
