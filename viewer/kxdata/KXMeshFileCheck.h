// What a mesh file's header promises, looked at before any library reads the file: the import
// libraries allocate for the counts a header declares, so a file that declares more than the
// limits, or more data than it holds, is refused here.
#ifndef KXMESHFILECHECK_H
#define KXMESHFILECHECK_H

#include <QString>
#include <QStringList>

#include <cstdint>

struct SKXMeshFileCheck
{
    bool bAcceptable = true;
    QString strReason; // why not, without the file's name: "the header declares ..."

    bool bIsPly = false;
    bool bIsOff = false;  // kxCheckOffBody must pass too
    bool bIsGltf = false; // a glTF 2.0 file, text or binary: kxCheckGltfBody must pass too
    // The PLY vertex element's properties in file order, and the declared counts (-1: unknown).
    QStringList listVertexProperties;
    std::int64_t nDeclaredVertices = -1;
    std::int64_t nDeclaredFaces = -1;
    // Where the PLY vertex data lies, so that the scalar field can be read without the faces.
    // nVertexDeclEnd: bytes from the file's start to the end of the vertex element's
    // declaration (where the next element or "end_header" begins); -1 unless the vertex element
    // is the first. nVertexEntryBytes: bytes per vertex of a binary file; -1 when the vertex has
    // a list property or a type of unknown size.
    bool bPlyAscii = false;
    std::int64_t nPlyDataOffset = -1; // bytes of the header, "end_header" line included
    std::int64_t nVertexDeclEnd = -1;
    std::int64_t nVertexEntryBytes = -1;
};

// Looks at the first bytes of the file (PLY, STL and OFF headers, recognised by content; a binary
// STL file, which has no signature, by its name's suffix `strSuffix`, "stl") and compares the
// declared counts with the limits and with `nFileSize` bytes. Files of other formats are acceptable
// here. `header` holds at least the first 64 KiB of the file, or all of it when it is smaller.
SKXMeshFileCheck kxCheckMeshFileHeader(const QByteArray& header, std::int64_t nFileSize,
                                       const QString& strSuffix);

// An OFF file's vertex and face lines: the import library's OFF reader trusts them (it writes
// beyond its arrays for a face that names a vertex the file lacks, or when lines are missing),
// so each face's corners are checked against the declared vertices before it reads the file.
// Empty when the file is sound, else why not.
QString kxCheckOffBody(const char* pData, std::int64_t nSize);

// A glTF 2.0 file's JSON (the whole of a text file, the first chunk of a binary one): the
// import library crashes on an image embedded in a buffer whose MIME type is neither of the
// two glTF allows, so such files are refused before it reads them, and so is JSON that is not
// well-formed UTF-8 JSON (which the library may read as something else). Empty when the file
// is sound as far as this goes, else why not.
QString kxCheckGltfBody(const char* pData, std::int64_t nSize);

#endif // KXMESHFILECHECK_H
