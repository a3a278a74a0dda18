#include "KXPlyField.h"

#include "KXReserveMapped.h"

#include <draco/core/decoder_buffer.h>
#include <draco/io/ply_reader.h>

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <unordered_map>
#include <utility>

SKXPlyField::SKXPlyField() = default;
SKXPlyField::~SKXPlyField() = default;
SKXPlyField::SKXPlyField(SKXPlyField&&) noexcept = default;
SKXPlyField& SKXPlyField::operator=(SKXPlyField&&) noexcept = default;

namespace
{

// A value of a property the PLY library parsed, as a float (the library keeps them packed in
// the file's type); 0 for a type that is no number.
float plyValue(const draco::PlyProperty& property, size_t i)
{
    const void* p = property.GetDataEntryAddress(int(i));
    auto get = [p](auto value)
    {
        std::memcpy(&value, p, sizeof value); // packed, not aligned
        return value;
    };
    switch (property.data_type())
    {
    case draco::DT_INT8:
        return float(get(qint8()));
    case draco::DT_UINT8:
        return float(get(quint8()));
    case draco::DT_INT16:
        return float(get(qint16()));
    case draco::DT_UINT16:
        return float(get(quint16()));
    case draco::DT_INT32:
        return float(get(qint32()));
    case draco::DT_UINT32:
        return float(get(quint32()));
    case draco::DT_FLOAT32:
        return get(float());
    case draco::DT_FLOAT64:
    {
        // Beyond a float's range is not finite, as a float; converting it would be undefined.
        const double d = get(double());
        return std::fabs(d) <= std::numeric_limits<float>::max()
                   ? float(d)
                   : std::numeric_limits<float>::infinity();
    }
    default:
        return 0.0f;
    }
}

bool isPlyNumber(const draco::PlyProperty& property)
{
    const draco::DataType e = property.data_type();
    return e != draco::DT_INVALID && e != draco::DT_INT64 && e != draco::DT_UINT64 &&
           e != draco::DT_BOOL && e < draco::DT_TYPES_COUNT;
}

// The part of a PLY file the scalar field needs: its header cut after the vertex element, and
// the vertex entries alone. The faces are most of a mesh file and the field does not need them,
// so the PLY library is not made to parse them. A binary file's part is made in a private
// mapping of the file, the cut header written just before the vertex entries: the entries are
// then not copied, only the header's page is. Empty when the file is not laid out for this (the
// vertex element is not the first, or a binary vertex has a list), and then the whole file is
// read.
struct SPlyPart
{
    QByteArray bytes;      // the part, when it is a copy
    uchar* pMap = nullptr; // the mapping it is in otherwise, unmapped with the file
    const char* pData = nullptr;
    qint64 nSize = 0;
};

SPlyPart plyVertexPart(QFile& file, const QByteArray& header, const SKXMeshFileCheck& check)
{
    SPlyPart none;
    const qint64 nSize = file.size();
    if (check.nVertexDeclEnd < 0 || check.nPlyDataOffset < 0 || check.nDeclaredVertices < 0 ||
        check.nVertexDeclEnd > check.nPlyDataOffset || check.nVertexDeclEnd > header.size() ||
        check.nPlyDataOffset > nSize || !file.seek(check.nPlyDataOffset))
        return none;
    static const char kEnd[] = "end_header\n";
    constexpr qint64 nEnd = sizeof kEnd - 1;
    const qint64 nAvailable = nSize - check.nPlyDataOffset;
    if (!check.bPlyAscii)
    {
        if (check.nVertexEntryBytes <= 0)
            return none;
        // Counts are bounded by the vertex limit, entries by a few hundred bytes: no overflow.
        const qint64 nBlock = check.nDeclaredVertices * check.nVertexEntryBytes;
        const qint64 nCut = check.nVertexDeclEnd + nEnd;
        if (nBlock > nAvailable || nCut + nBlock > std::numeric_limits<int>::max())
            return none; // a header that promises more than the file holds
        // The cut header is never longer than the whole one, which has at least its end line
        // after the vertex element; the check is for a header laid out otherwise.
        if (nCut <= check.nPlyDataOffset)
            if (uchar* pMap =
                    file.map(0, check.nPlyDataOffset + nBlock, QFileDevice::MapPrivateOption))
            {
                char* pStart = reinterpret_cast<char*>(pMap) + (check.nPlyDataOffset - nCut);
                std::memcpy(pStart, header.constData(), size_t(check.nVertexDeclEnd));
                std::memcpy(pStart + check.nVertexDeclEnd, kEnd, size_t(nEnd));
                SPlyPart mapped;
                mapped.pMap = pMap;
                mapped.pData = pStart;
                mapped.nSize = nCut + nBlock;
                return mapped;
            }
        SPlyPart part;
        part.bytes = header.left(int(check.nVertexDeclEnd)) + kEnd;
        const int nPrefix = part.bytes.size();
        part.bytes.resize(int(nPrefix + nBlock));
        if (file.read(part.bytes.data() + nPrefix, nBlock) != nBlock)
            return none;
        part.pData = part.bytes.constData();
        part.nSize = part.bytes.size();
        return part;
    }
    QByteArray part = header.left(int(check.nVertexDeclEnd)) + kEnd;
    const int nPrefix = part.size();
    // One vertex per line, as PLY writers put them; a file that spreads its vertices otherwise
    // fails on this part, and is then read whole.
    constexpr qint64 kChunk = 1 << 20;
    qint64 nLines = 0, nScanned = nPrefix;
    while (nLines < check.nDeclaredVertices && !file.atEnd())
    {
        if (part.size() + kChunk > std::numeric_limits<int>::max())
            return none;
        const QByteArray chunk = file.read(kChunk);
        if (chunk.isEmpty())
            break;
        part += chunk;
        for (const char *p = part.constData() + nScanned, *pEnd = part.constData() + part.size();
             nLines < check.nDeclaredVertices &&
             (p = static_cast<const char*>(std::memchr(p, '\n', size_t(pEnd - p))));
             ++p)
        {
            ++nLines;
            nScanned = p + 1 - part.constData();
        }
        if (nLines < check.nDeclaredVertices)
            nScanned = part.size();
    }
    part.truncate(int(nScanned));
    SPlyPart ascii;
    ascii.bytes = std::move(part);
    ascii.pData = ascii.bytes.constData();
    ascii.nSize = ascii.bytes.size();
    return ascii;
}

// Parses `nSize` bytes of PLY with the PLY library into `reader`; the library's message when it
// cannot.
bool parsePly(const char* pData, qint64 nSize, draco::PlyReader& reader, QString& strWhy)
{
    draco::DecoderBuffer buffer;
    buffer.Init(pData, static_cast<size_t>(nSize));
    const draco::Status status = reader.Read(&buffer);
    strWhy = status.ok() ? QString() : QString::fromStdString(status.error_msg_string());
    return status.ok();
}

// Takes the named vertex property from a parsed file. Empty `strReason` and an empty field when
// the property holds a value that is not a finite number.
bool takePlyField(const draco::PlyReader& reader, const QString& strName, SKXPlyField& field,
                  QString& strReason)
{
    const draco::PlyElement* pVertices = reader.GetElementByName("vertex");
    const draco::PlyProperty* pValue =
        pVertices ? pVertices->GetPropertyByName(strName.toStdString()) : nullptr;
    const draco::PlyProperty* pXyz[3] = {pVertices ? pVertices->GetPropertyByName("x") : nullptr,
                                         pVertices ? pVertices->GetPropertyByName("y") : nullptr,
                                         pVertices ? pVertices->GetPropertyByName("z") : nullptr};
    if (!pValue || pValue->is_list() || !pXyz[0] || !pXyz[1] || !pXyz[2] || pXyz[0]->is_list() ||
        pXyz[1]->is_list() || pXyz[2]->is_list())
    {
        strReason =
            QStringLiteral("its vertex field \"%1\" is not one number per vertex.").arg(strName);
        return false;
    }
    if (!isPlyNumber(*pValue))
    {
        strReason =
            QStringLiteral("its vertex field \"%1\" is of a type this viewer does not read.")
                .arg(strName);
        return false;
    }
    if (!isPlyNumber(*pXyz[0]) || !isPlyNumber(*pXyz[1]) || !isPlyNumber(*pXyz[2]))
    {
        strReason = QStringLiteral("its vertex coordinates are of a type this viewer does not "
                                   "read.");
        return false;
    }
    const size_t n = static_cast<size_t>(pVertices->num_entries());
    field.strName = strName;
    kxReserveMapped(field.values, n);
    field.values.resize(n);
    for (size_t i = 0; i < n; ++i)
    {
        field.values[i] = plyValue(*pValue, i);
        if (!std::isfinite(field.values[i]))
        {
            field.values.clear();
            strReason.clear();
            return false;
        }
    }
    std::copy(std::begin(pXyz), std::end(pXyz), std::begin(field.pXyz));
    return true;
}

} // namespace

float SKXPlyField::coordinate(size_t i, int c) const
{
    return plyValue(*pXyz[c], i);
}

EKXPlyFieldRead kxReadPlyField(const QString& strPath, const QByteArray& header,
                               const SKXMeshFileCheck& check, const QStringList& candidates,
                               bool bNamed, const std::atomic<bool>& stop, SKXPlyField& field,
                               QString& strReason)
{
    field = SKXPlyField();
    strReason.clear();
    if (candidates.isEmpty())
        return EKXPlyFieldRead::Read;
    if (stop)
        return EKXPlyFieldRead::Stopped;
    // A file of its own: the caller's is in use on the caller's thread.
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
    {
        strReason = QStringLiteral("it cannot be opened (%1).").arg(file.errorString());
        return EKXPlyFieldRead::Failed;
    }
    const qint64 nSize = file.size();
    const SPlyPart part = plyVertexPart(file, header, check);
    std::unique_ptr<draco::PlyReader> pReader(new draco::PlyReader);
    QString strWhy;
    const bool bPartRead =
        part.nSize > 0 && !stop && parsePly(part.pData, part.nSize, *pReader, strWhy);
    if (part.pMap)
        file.unmap(part.pMap); // the library keeps copies of the values it parsed
    if (stop)
        return EKXPlyFieldRead::Stopped;
    if (!bPartRead)
    {
        uchar* pData = file.map(0, nSize);
        if (!pData)
        {
            strReason = QStringLiteral("it cannot be read (%1).").arg(file.errorString());
            return EKXPlyFieldRead::Failed;
        }
        pReader.reset(new draco::PlyReader);
        const bool bRead = parsePly(reinterpret_cast<const char*>(pData), nSize, *pReader, strWhy);
        file.unmap(pData);
        if (!bRead)
        {
            strReason = QStringLiteral("its vertex field \"%1\" cannot be read: %2")
                            .arg(candidates.first(), strWhy);
            return EKXPlyFieldRead::Failed;
        }
        if (stop)
            return EKXPlyFieldRead::Stopped;
    }
    for (const QString& strName : candidates)
    {
        if (takePlyField(*pReader, strName, field, strReason))
            break;
        if (!strReason.isEmpty())
            return EKXPlyFieldRead::Failed;
        if (bNamed)
        {
            strReason =
                QStringLiteral("its vertex field \"%1\" holds values that are not finite numbers.")
                    .arg(strName);
            return EKXPlyFieldRead::Failed;
        }
    }
    if (!field.values.empty())
        field.pReader = std::move(pReader); // the positions, until the field is lined up
    return EKXPlyFieldRead::Read;
}

bool kxAlignPlyField(const float* pXyz, size_t nVertices, const SKXPlyField& field,
                     std::vector<int>& toField)
{
    toField.clear();
    bool bSameOrder = nVertices == field.values.size();
    if (bSameOrder && field.pXyz[0]->data_type() == draco::DT_FLOAT32 &&
        field.pXyz[1]->data_type() == draco::DT_FLOAT32 &&
        field.pXyz[2]->data_type() == draco::DT_FLOAT32)
    {
        // Float coordinates, the common case, straight from the library's packed arrays: this
        // runs over every vertex of a surface of millions while the caller waits.
        const unsigned char* pColumn[3];
        for (int c = 0; c < 3; ++c)
            pColumn[c] = static_cast<const unsigned char*>(field.pXyz[c]->GetDataEntryAddress(0));
        for (size_t i = 0; bSameOrder && i < nVertices; ++i)
            for (int c = 0; c < 3; ++c)
            {
                float f;
                std::memcpy(&f, pColumn[c] + 4 * i, 4);
                bSameOrder = bSameOrder && pXyz[3 * i + c] == f;
            }
    }
    else
        for (size_t i = 0; bSameOrder && i < nVertices; ++i)
            bSameOrder = pXyz[3 * i] == field.coordinate(i, 0) &&
                         pXyz[3 * i + 1] == field.coordinate(i, 1) &&
                         pXyz[3 * i + 2] == field.coordinate(i, 2);
    if (bSameOrder)
        return true;
    toField.resize(nVertices);

    struct SKeyHash
    {
        size_t operator()(const std::pair<quint64, quint32>& k) const
        {
            return std::hash<quint64>()(k.first * 31 + k.second);
        }
    };
    auto key = [](float x, float y, float z)
    {
        quint32 a, b, c;
        std::memcpy(&a, &x, 4);
        std::memcpy(&b, &y, 4);
        std::memcpy(&c, &z, 4);
        return std::make_pair((quint64(a) << 32) | b, c);
    };
    std::unordered_map<std::pair<quint64, quint32>, int, SKeyHash> byPosition;
    byPosition.reserve(field.values.size());
    for (size_t i = 0; i < field.values.size(); ++i)
        byPosition.emplace(
            key(field.coordinate(i, 0), field.coordinate(i, 1), field.coordinate(i, 2)),
            static_cast<int>(i));
    for (size_t i = 0; i < nVertices; ++i)
    {
        const auto it = byPosition.find(key(pXyz[3 * i], pXyz[3 * i + 1], pXyz[3 * i + 2]));
        if (it == byPosition.end())
            return false;
        toField[i] = it->second;
    }
    return true;
}
