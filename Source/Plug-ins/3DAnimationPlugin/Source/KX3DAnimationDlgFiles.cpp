// Loading and saving key frame files (".vkf") of the animation dialog. The file text itself is
// made and read by CKeyFrameFileWriter and CKeyFrameFileReader; these slots add the file
// dialogs, the messages and the list widget around them.
#include "KX3DAnimationDlg.h"

#include "CKXSChildWindow.h"
#include "CKXSFileDialog.h"
#include "CKXSToolInfo.h"
#include "KeyFrameFileReader.h"
#include "KeyFrameFileWriter.h"
#include "PLConstants.h"

#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QSaveFile>
#include <QSignalBlocker>
#include <QStringList>
#include <QTextCodec>
#include <QTextStream>

namespace
{

QString keyFrameFileFilter()
{
    return QStringLiteral("%1 Key Frame File (*.vkf)").arg(PLConstants::DEFAULT_TAG_NAME);
}

// The 3D display controls of a window's scene; default controls (no sources) when there is no
// window or it has no tool information.
tag_s3Dcontrols sceneControls(const CKXSChildWindow* pWindow)
{
    const CKXSToolInfo* pToolInfo = pWindow ? pWindow->getToolInfo() : nullptr;
    return pToolInfo ? pToolInfo->get3DControls() : tag_s3Dcontrols();
}

// Writes the whole text or nothing: the text goes to a temporary file beside the target that
// replaces it only once everything is on disk, so a failure part way (full disk, vanished
// directory) leaves an existing file exactly as it was. Where the folder takes no new file but
// the existing file may be written (a shared file in someone else's folder), the file is
// rewritten in place instead, as the user expects of a file they may write; only then can a
// failure part way leave it incomplete.
bool replaceFileContents(const QString& strFileName, const QString& strText)
{
    QSaveFile file(strFileName);
    file.setDirectWriteFallback(true);
    // Truncate: rewritten in place, a longer older text must not outlive the new one.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
    {
        return false;
    }
    const QByteArray bytes = strText.toUtf8();
    // The write lands in the device's buffer; a failure while that buffer goes to disk is seen
    // only by flush(), and commit() would otherwise rename the truncated file into place.
    if (file.write(bytes) != bytes.size() || !file.flush() || file.error() != QFileDevice::NoError)
    {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

// The file's text, or false when it cannot be read or is too large for the reader. Only
// regular files are opened: a pipe or device could block or never end.
bool readKeyFrameFile(const QString& strFileName, QString& strText)
{
    const QFileInfo info(strFileName);
    if (!info.isFile() || !CKeyFrameFileReader::isFileSizeAcceptable(info.size()))
    {
        return false;
    }
    QFile file(strFileName);
    if (!file.open(QIODevice::ReadOnly))
    {
        return false;
    }
    // Bounded read: the file may have grown since its size was checked.
    const QByteArray bytes = file.read(CKeyFrameFileReader::MAX_FILE_BYTES + 1);
    if (!CKeyFrameFileReader::isFileSizeAcceptable(bytes.size()))
    {
        return false;
    }
    QTextStream stream(bytes);
    stream.setCodec(QTextCodec::codecForName("UTF-8")); // the encoding the files declare
    strText = stream.readAll();
    return true;
}

} // namespace

void CKX3DAnimationDlg::onClickLoadAnimationButton()
{
    if (m_bIsAnimating)
    {
        return;
    }
    m_pChildWindow = CKXSChildWindow::getActiveChildWnd();

    QString strFileName;
    if (CKXSFileDialog::getOpenFileName(nullptr, tr("Load Key Frames"), strFileName,
                                        QStringList(keyFrameFileFilter()), true) != 0)
    {
        return;
    }

    // Everything that can refuse the file is decided before the current list is deleted.
    QString strText;
    if (!readKeyFrameFile(strFileName, strText))
    {
        showMessage(tr("Error. Couldn't load file."));
        return;
    }
    const SKeyFrameFileDocument document = CKeyFrameFileReader::parse(strText);
    strText.clear(); // the document holds it all now; a large file need not be held twice
    if (document.m_eStatus == SKeyFrameFileReadResult::EStatus::TooLarge)
    {
        showMessage(tr("Error. Couldn't load file."));
        return;
    }

    // Loading replaces, never merges.
    if (m_pKeyFrameListBox->count() > 0)
    {
        onSelectDeleteKeyframesPopup(m_pDeleteMenu->defaultAction());
    }
    save3DViewStates();
    // Built only now: deleting shows the initial view again, which changes the scene's
    // controls, and those are the starting state of every loaded key frame. The document is
    // parsed once either way.
    const SKeyFrameFileReadResult result =
        CKeyFrameFileReader::keyFrames(document, sceneControls(m_pChildWindow));

    // An unreadable document leaves the list empty, without a message: the file was opened
    // and its key frames (none) replaced the list.
    if (result.m_eStatus == SKeyFrameFileReadResult::EStatus::Loaded)
    {
        for (const SSpKeyFrameAttributes& keyFrame : qAsConst(result.m_listKeyFrames))
        {
            const QString strName =
                QStringLiteral("Key Frame %1").arg(m_pKeyFrameListBox->count() + 1);
            m_mapKeyFrames.insert(strName, keyFrame);
            const QSignalBlocker blocker(m_pKeyFrameListBox);
            m_pKeyFrameListBox->addItem(strName);
        }
    }
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onClickSaveAnimationButton()
{
    if (m_bIsAnimating)
    {
        return;
    }
    const int nRows = m_pKeyFrameListBox->count();
    if (nRows <= 0)
    {
        showMessage(tr("Cannot Save Empty Key Frame List."));
        return;
    }
    if (nRows == 1)
    {
        showMessage(tr("A Valid Key frame list should have two or more Key frames."));
        return;
    }

    QString strFileName;
    if (CKXSFileDialog::getSaveFileName(nullptr, tr("Save Key Frames"), strFileName,
                                        QStringList(keyFrameFileFilter()),
                                        QStringList(QStringLiteral("vkf"))) != 0)
    {
        return;
    }

    // The source elements name the sources of the scene on screen, not of the records.
    const QStringList sceneSources = sceneControls(m_pChildWindow).sourceControls.keys();
    const int nKnownKeyFrames = m_mapKeyFrames.size();
    const QString strText =
        CKeyFrameFileWriter::write(keyFrameRows(), m_mapKeyFrames, sceneSources);
    if (m_mapKeyFrames.size() != nKnownKeyFrames)
    {
        refreshSeqStatus(); // a row without a record got a default one, which was written
    }

    if (!replaceFileContents(strFileName, strText))
    {
        showMessage(tr("Error. Failed to save the file."));
        return;
    }
    showMessage(tr("Key frame animation saved."));
}
