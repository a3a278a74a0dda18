// libFuzzer entry point for the key frame file reader: the input bytes are a ".vkf" file's
// content, decoded as the dialog decodes a file (UTF-8) and read into a scene with a few
// sources. Besides the sanitizers' findings, these abort:
// - a result that breaks the reader's own contract (more key frames than it accepts, key
//   frames or no detail for a refused file);
// - a document the pre-scan passes whose DOM holds more nodes and attributes, or nests deeper,
//   than the pre-scan counted: the limits that bound the parser's memory and stack would not
//   hold for a larger file of the same kind.
#include "KeyFrameFilePreScan.h"
#include "KeyFrameFileReader.h"

#include <QDomDocument>
#include <QDomNamedNodeMap>
#include <QString>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace
{

tag_s3Dcontrols makeScene()
{
    tag_s3Dcontrols c;
    c.name3 = QStringLiteral("Original");
    c.meshOpacity = 40;
    for (const char* pszName : {"Original", "SourceVoxels_1", "SourceSurface_1"})
    {
        tag_s3DSourceControls s;
        s.surfaceOpacity = 50;
        s.volumeVisible = true;
        c.sourceControls.insert(QString::fromLatin1(pszName), s);
    }
    return c;
}

// The reader's own messages are not findings; thousands of them per second only slow the run.
void discardMessage(QtMsgType eType, const QMessageLogContext&, const QString&)
{
    if (eType == QtFatalMsg)
    {
        std::abort();
    }
}

struct SDomSize
{
    qint64 m_nItems = 0; // nodes but the document itself, attributes, notations
    int m_nDepth = 0;    // element nesting, the root counting 1
};

SDomSize measure(const QDomDocument& doc)
{
    SDomSize size;
    size.m_nItems += doc.doctype().notations().count();
    int nDepth = 0;
    QDomNode node = doc.firstChild();
    while (!node.isNull())
    {
        ++size.m_nItems;
        if (node.isElement())
        {
            size.m_nItems += node.attributes().count();
            size.m_nDepth = qMax(size.m_nDepth, nDepth + 1);
        }
        if (node.hasChildNodes())
        {
            ++nDepth;
            node = node.firstChild();
            continue;
        }
        while (!node.isNull() && node.nextSibling().isNull())
        {
            node = node.parentNode();
            --nDepth;
            if (node == doc)
            {
                return size;
            }
        }
        node = node.nextSibling();
    }
    return size;
}

// The pre-scan must count at least what the parser builds, so that its limits bound the DOM.
void checkPreScanBoundsTheDom(const QString& strText)
{
    if (CKeyFrameFilePreScan::scan(strText, SPreScanLimits()) != EPreScanResult::Acceptable)
    {
        return;
    }
    QDomDocument doc;
    if (!doc.setContent(strText))
    {
        return;
    }
    const SDomSize size = measure(doc);
    SPreScanLimits items;
    items.m_nMaxItems = size.m_nItems - 1;
    // The pre-scan gives empty elements no level of their own, so the deepest may be one below.
    SPreScanLimits depth;
    depth.m_nMaxDepth = size.m_nDepth - 2;
    if ((size.m_nItems > 0 &&
         CKeyFrameFilePreScan::scan(strText, items) != EPreScanResult::TooManyItems) ||
        (size.m_nDepth > 1 &&
         CKeyFrameFilePreScan::scan(strText, depth) != EPreScanResult::TooDeep))
    {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    qInstallMessageHandler(discardMessage);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    // The dialog refuses such files before reading their text.
    if (!CKeyFrameFileReader::isFileSizeAcceptable(static_cast<qint64>(nSize)))
    {
        return 0;
    }
    static const tag_s3Dcontrols scene = makeScene();
    const QString strText =
        QString::fromUtf8(reinterpret_cast<const char*>(pData), static_cast<int>(nSize));
    const SKeyFrameFileReadResult result = CKeyFrameFileReader::read(strText, scene);

    using EStatus = SKeyFrameFileReadResult::EStatus;
    const bool bLoaded = result.m_eStatus == EStatus::Loaded;
    if (result.m_listKeyFrames.size() > CKeyFrameFileReader::MAX_KEY_FRAMES ||
        (!bLoaded && !result.m_listKeyFrames.isEmpty()) || bLoaded != result.m_strDetail.isEmpty())
    {
        std::abort();
    }
    for (const SSpKeyFrameAttributes& key : result.m_listKeyFrames)
    {
        if (!key.isCaptured)
        {
            std::abort();
        }
    }
    checkPreScanBoundsTheDom(strText);
    return 0;
}
