// Presets, frame generation, playback and movie recording of the animation dialog.
//
// Playback and recording run in a plain loop on the GUI thread that lets events through after
// each frame; the only ways in while they run are the Stop face of the Play / Record button
// (m_bStopAnimation) and the Abort of the host's long-process display.
#include "KX3DAnimationDlg.h"

#include "C3DMesh.h"
#include "C3DView.h"
#include "CKXProcess.h"
#include "CKXSChildWindow.h"
#include "CKXSErrorHandler.h"
#include "CKXSFileDialog.h"
#include "CKXSLog.h"
#include "CKXSMessageBox.h"
#include "CKXSMovieExporter.h"
#include "CKXSSequenceWindow.h"
#include "CKXUtilityFns.h"
#include "FrameGenerator.h"
#include "PresetBuilder.h"
#include "VideoEncoderMAC.h"

#include <QCoreApplication>
#include <QImage>
#include <QPointer>
#include <QSignalBlocker>

#include <memory>

namespace
{

// Long-process types of the host's progress display.
constexpr int PLAYBACK_PROCESS = 512;
constexpr int RECORDING_PROCESS = 1024;

// Host log levels.
constexpr long LOG_WARNING = 3;
constexpr long LOG_ERROR = 16;

// Recordings are always generated at this rate, whatever the frame rate box shows; the
// encoder writes movies at the same rate, so a movie lasts as long as its animation.
constexpr int RECORDING_FRAME_RATE = 10;

// Encoder settings: bit rate, key frame interval, quality (their meaning is the host's).
constexpr unsigned MOVIE_BIT_RATE = 1000000;
constexpr unsigned MOVIE_KEY_FRAME_INTERVAL = 20;
constexpr int MOVIE_QUALITY = 25;

// Button faces: three leading spaces keep the text clear of the icon.
const char* const PLAY_TEXT = "   Play";
const char* const RECORD_TEXT = "   Record";
const char* const STOP_TEXT = "   Stop";

// A button's text containing this word means a click stops the running animation.
const char* const STOP_WORD = "Stop";

// Recording failures go to the host log. The time text is the fixed module stamp that existing
// hosts' logs carry for these lines; kept as is for compatibility with them.
void logRecording(const QString& strMessage, long nLevel)
{
    getLogObject()->log(strMessage, QString(), 0, QStringLiteral("11:05:38"), nLevel, false);
}

bool isMovieExtension(const QString& strExtension)
{
    const QString strLower = strExtension.toLower();
    return strLower == QStringLiteral("mpg") || strLower == QStringLiteral("mp4") ||
           strLower == QStringLiteral("mov");
}

void setViewAnimating(CKXSChildWindow* pWindow, bool bAnimating)
{
    C3DView* pView = pWindow ? pWindow->get3DScene() : nullptr;
    if (pView)
    {
        pView->setKFAnimating(bAnimating);
    }
}

// Asks the bound sequence window's tools palette to show the scene's own state again.
void resetToolsPalette(CKXSChildWindow* pWindow)
{
    CKXSSequenceWindow* pSequenceWindow = qobject_cast<CKXSSequenceWindow*>(pWindow);
    if (pSequenceWindow)
    {
        emit pSequenceWindow->signalUpdate3DToolsPalette(SSpKeyFrameAttributes(), true);
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Presets

void CKX3DAnimationDlg::onActivateAnimationsCB()
{
    m_pChildWindow = CKXSChildWindow::getActiveChildWnd();
    if (m_bIsAnimating || !m_pChildWindow || !m_pChildWindow->get3DScene())
    {
        return;
    }

    SPresetInput input;
    input.m_strText = m_pAnimationsCB->currentText();
    input.m_dTimeScaleMax = static_cast<double>(m_pTimeScaleSlider->maximum());
    input.m_nFrameFactor = m_pFrameFactorSpinBox->value();

    const EPresetKind eKind = CPresetBuilder::kindOf(input.m_strText);
    if (eKind == EPresetKind::Zoomin)
    {
        // The zoom-in ends at the default camera and starts from a corner of the view.
        m_pChildWindow->onReset3DView();
        if (!m_pChildWindow || !m_pChildWindow->get3DScene())
        {
            return;
        }
        input.m_nViewWidth = m_pChildWindow->get3DScene()->width();
        input.m_nViewHeight = m_pChildWindow->get3DScene()->height();
    }
    if (eKind != EPresetKind::Unknown)
    {
        input.m_qView = m_pChildWindow->get3DScene()->getCurrentQuaternion();
        input.m_sCaptured = getKeyFrameAttributesFromCurrent3DView();
    }

    const QList<SSpKeyFrameAttributes> keyFrames = CPresetBuilder::build(input);
    for (const SSpKeyFrameAttributes& keyFrame : keyFrames)
    {
        // A refusal (the key frame limit) keeps what was added so far.
        if (!addNewKeyFrame(keyFrame))
        {
            break;
        }
    }

    adjustTimeStamps();
    // Not blocked: the box's own range clamps the rate and its handler stores it.
    m_pFPSSpinBox->setValue(CPresetBuilder::frameRateAfterPreset(
        m_pKeyFrameListBox->count(), m_pDurationSpinBox->value(), m_pFPSSpinBox->value()));
    refreshSeqStatus();
}

// ---------------------------------------------------------------------------------------------
// Frame generation

void CKX3DAnimationDlg::generateAnimationFrames()
{
    m_listAnimationFrames.clear();

    SFrameGenerationInput input;
    input.m_nTimeScaleMax = m_pTimeScaleSlider->maximum();
    input.m_nDuration = getDuration();
    input.m_nFrameRate = getFrameRate();
    const QMap<QString, SSpKeyFrameAttributes> keyFrames = getKeyFrameAttributesMap();
    const int nCount = getKeyFrameCount();
    for (int i = 0; i < nCount; ++i)
    {
        input.m_listKeyFrames.append(keyFrames.value(getKeyFrameName(i)));
    }
    const C3DMesh* pMesh = m_pChildWindow ? m_pChildWindow->getSurfaceMesh() : nullptr;
    if (pMesh)
    {
        pMesh->getPDImageMinMax(input.m_dPDImageMin, input.m_dPDImageMax);
    }

    CKXProcess::setProcessMessage(CFrameGenerator::generatingMessage(), false);
    QCoreApplication::processEvents();

    const QString strRefusal = CFrameGenerator::generate(input, m_listAnimationFrames);
    if (!strRefusal.isEmpty())
    {
        // Only key frames read from a file with absurd stamps get here; the list stays empty
        // and Play or Record then ends without a frame.
        m_listAnimationFrames.clear();
        showMessage(strRefusal);
        return;
    }

    CKXProcess::setProcessMessage(CFrameGenerator::generatedMessage(m_listAnimationFrames.size()),
                                  false);
    QCoreApplication::processEvents();
}

// ---------------------------------------------------------------------------------------------
// Playback

void CKX3DAnimationDlg::onClickPlayButton()
{
    if (m_pPlayButton->text().contains(QLatin1String(STOP_WORD)))
    {
        // The running loop sees it at its next frame.
        m_bStopAnimation = true;
        return;
    }
    if (m_bIsAnimating)
    {
        return;
    }
    m_bStopAnimation = false;
    if (m_pKeyFrameListBox->count() <= 1)
    {
        showMessage(tr("Animation requires two or more keyframes."));
        return;
    }
    CKXSChildWindow* pActive = CKXSChildWindow::getActiveChildWnd();
    C3DView* pView = pActive ? pActive->get3DScene() : nullptr;
    if (!pView)
    {
        return;
    }
    if (pView->isAnimationEnabled())
    {
        pView->stopAnimation();
    }
    if (pView->isAutoRotating())
    {
        pView->stopAutoRotation();
    }

    m_bIsAnimating = true;
    m_pPlayButton->setText(QLatin1String(STOP_TEXT));
    m_pPlayButton->setIcon(m_iconStop);
    m_pPlayButton->setToolTip(tr(" Stop Playing "));
    CKXProcess::disableUserInteraction(false);
    CKXUtilityFns::setCursor(QCursor(Qt::WaitCursor));

    // Playback always runs in the active window.
    m_pChildWindow = pActive;
    QCoreApplication::processEvents();

    // Events run inside the loop: the window may close meanwhile.
    const QPointer<CKXSChildWindow> pWindow = m_pChildWindow.data();
    setViewAnimating(pWindow, true);
    playKeyFrameAnimation();
    setViewAnimating(pWindow, false);
    resetToolsPalette(m_pChildWindow);

    m_pPlayButton->setText(QLatin1String(PLAY_TEXT));
    m_pPlayButton->setIcon(m_iconPlay);
    m_pPlayButton->setToolTip(tr("Play the currently defined key frame animation"));
    m_bIsAnimating = false;
    m_bStopAnimation = false;
    CKXUtilityFns::restoreCursor();
    // Both calls pass false, so the main window stays usable during playback; kept for
    // compatibility with existing hosts.
    CKXProcess::disableUserInteraction(false);
}

void CKX3DAnimationDlg::playKeyFrameAnimation()
{
    CKXProcess::startLongProcess(0, PLAYBACK_PROCESS, false, tr("Aborting..."));
    generateAnimationFrames();
    const int nFrames = m_listAnimationFrames.size();
    const QPointer<CKXSChildWindow> pWindow = m_pChildWindow.data();

    int nKeyFrame = 0; // the row of the key frame the animation moves towards
    for (int i = 0; i < nFrames; ++i)
    {
        CKXProcess::setProcessMessage(tr("Playing [%1 of %2] frames.").arg(i + 1).arg(nFrames),
                                      false);
        QCoreApplication::processEvents();
        if (CKXProcess::isProcessAborted() || shouldStopAnimation() ||
            i >= m_listAnimationFrames.size())
        {
            break;
        }
        const C3DView* pView = pWindow ? pWindow->get3DScene() : nullptr;
        if (!pView || !pView->isVisible())
        {
            break;
        }
        // Copied: applying it runs host code that may process events.
        const SSpKeyFrameAttributes frame = m_listAnimationFrames.at(i);
        setKeyFrameAttributesTo3DView(frame, nKeyFrame, false);
        if (frame.isCaptured)
        {
            ++nKeyFrame;
        }
    }
    CKXProcess::endLongProcess(PLAYBACK_PROCESS);
}

bool CKX3DAnimationDlg::shouldStopAnimation() const
{
    return m_bStopAnimation;
}

// ---------------------------------------------------------------------------------------------
// Recording

void CKX3DAnimationDlg::onClickRecordButton()
{
    m_pChildWindow = CKXSChildWindow::getActiveChildWnd();
    if (m_pRecordButton->text().contains(QLatin1String(STOP_WORD)))
    {
        m_bStopAnimation = true;
        return;
    }
    if (m_bIsAnimating || !m_pChildWindow || !m_pChildWindow->get3DScene())
    {
        return;
    }
    m_bStopAnimation = false;

    const QStringList filters = CKXSMovieExporter::getFilterList();
    if (filters.isEmpty())
    {
        // The text names containers this host no longer writes; kept for compatibility with
        // existing hosts.
        showMessage(tr("Recording requires .avi or .mov support."));
        return;
    }
    if (m_pKeyFrameListBox->count() <= 1)
    {
        showMessage(tr("Animation requires two or more keyframes."));
        return;
    }
    C3DView* pView = m_pChildWindow->get3DScene();
    if (pView->isAnimationEnabled())
    {
        pView->stopAnimation();
    }

    QString strFileName;
    if (CKXSFileDialog::getSaveFileName(nullptr, tr("Record Animation"), strFileName, filters,
                                        CKXSMovieExporter::getExtensionList()) != 0)
    {
        return;
    }

    m_bIsAnimating = true;
    m_pRecordButton->setText(QLatin1String(STOP_TEXT));
    m_pRecordButton->setIcon(m_iconStop);
    m_pRecordButton->setToolTip(tr(" Stop Recording "));
    CKXUtilityFns::setCursor(QCursor(Qt::WaitCursor));
    QCoreApplication::processEvents();

    // Events run inside the loop: the window may close meanwhile.
    const QPointer<CKXSChildWindow> pActive = CKXSChildWindow::getActiveChildWnd();
    C3DView* pActiveView = pActive ? pActive->get3DScene() : nullptr;
    if (pActiveView)
    {
        pActiveView->setKFAnimating(true);
        pActiveView->setKFRecording(true);
    }
    CKXUtilityFns::setCanClose(false);

    const tag_estatus eStatus = recordKeyFrameAnimationQT(strFileName);
    if (eStatus != KX_SUCCESS)
    {
        CKXSErrorHandler::errorMessage(this, eStatus, QString());
    }

    CKXUtilityFns::setCanClose(true);
    pActiveView = pActive ? pActive->get3DScene() : nullptr;
    if (pActiveView)
    {
        pActiveView->setKFAnimating(false);
        pActiveView->setKFRecording(false);
    }
    resetToolsPalette(m_pChildWindow);

    m_pRecordButton->setText(QLatin1String(RECORD_TEXT));
    m_pRecordButton->setIcon(m_iconRecord);
    m_pRecordButton->setToolTip(tr("Record the currently defined key frame animation"));
    m_bIsAnimating = false;
    m_bStopAnimation = false;
    CKXUtilityFns::restoreCursor();
}

tag_estatus CKX3DAnimationDlg::recordKeyFrameAnimationQT(const QString& strFileName)
{
    const QPointer<CKXSChildWindow> pWindow = getSequenceWindow();
    C3DView* pView = pWindow ? pWindow->get3DScene() : nullptr;
    if (!pView || !pView->isVisible())
    {
        logRecording(tr("Movie recording support is available only for 3D view."), LOG_WARNING);
        return KX_SUCCESS;
    }
    pView->saveRotationState();
    if (strFileName.isEmpty())
    {
        logRecording(tr("Please select a valid file name to save the movie file"), LOG_ERROR);
        return KX_SUCCESS;
    }
    const QString strExtension = strFileName.right(3);

    std::unique_ptr<CKXSMovieExporter> pExporter(new CKXSMovieExporter);
    const int nUserFrameRate = m_pFPSSpinBox->value();
    {
        const QSignalBlocker blocker(m_pFPSSpinBox);
        m_pFPSSpinBox->setValue(RECORDING_FRAME_RATE);
    }
    generateAnimationFrames();
    const int nFrames = m_listAnimationFrames.size();

    // The encoder gets the name as Latin-1: characters outside it do not survive. Kept for
    // compatibility with existing hosts.
    const QString strMovieName = QString::fromLatin1(strFileName.toLatin1());
    sMovieDetails details;
    details.durationMs = getDuration() * 1000;
    details.durationTicks = 100 * getDuration();
    details.width = pView->width();
    details.height = pView->height();
    details.frameRate = RECORDING_FRAME_RATE;
    Q_UNUSED(details); // kept for the host's movie interface; the encoder does not take it

    VideoEncoderMAC encoder;
    CKXProcess::startLongProcess(nFrames, RECORDING_PROCESS, true, tr("Aborting..."));
    const bool bWritesMovie = isMovieExtension(strExtension);
    bool bFileCreated = false;
    int nFirstWidth = -1;
    int nFirstHeight = -1;
    int nKeyFrame = 0; // the row of the key frame the animation moves towards
    int i = 0;
    for (; i < nFrames; ++i)
    {
        const QString strMessage =
            tr("Playing and Recording [%1 of %2] frames.").arg(i + 1).arg(nFrames);
        CKXProcess::setProcessMessage(strMessage, i + 1, false);
        QCoreApplication::processEvents();
        pView = pWindow ? pWindow->get3DScene() : nullptr;
        if (CKXProcess::isProcessAborted() || shouldStopAnimation() || !pView ||
            !pView->isVisible() || i >= m_listAnimationFrames.size())
        {
            logRecording(tr("Animation export aborted..."), LOG_WARNING);
            break;
        }

        const SSpKeyFrameAttributes frame = m_listAnimationFrames.at(i);
        setKeyFrameAttributesTo3DView(frame, nKeyFrame, false);
        pView = pWindow ? pWindow->get3DScene() : nullptr;
        if (!pView)
        {
            logRecording(tr("Animation export aborted..."), LOG_WARNING);
            break;
        }
        pView->makeCurrent();
        pView->update();
        const QImage image = pView->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        const int nWidth = image.width();
        const int nHeight = image.height();
        if (i == 0)
        {
            nFirstWidth = nWidth;
            nFirstHeight = nHeight;
        }
        if (nWidth != nFirstWidth || nHeight != nFirstHeight)
        {
            logRecording(tr("Exported frame dimension changed. Animation export aborted..."),
                         LOG_WARNING);
            break;
        }

        // The movie needs an even size; the encoder takes the odd frame as it is and repeats
        // its last column / row. The scaled copy is made and dropped as existing hosts do.
        const int nEvenWidth = nWidth % 2 == 1 ? nWidth + 1 : nWidth;
        const int nEvenHeight = nHeight % 2 == 1 ? nHeight + 1 : nHeight;
        const QImage scaled = image.scaled(nEvenWidth, nEvenHeight, Qt::KeepAspectRatioByExpanding,
                                           Qt::FastTransformation);
        Q_UNUSED(scaled);

        if (bWritesMovie)
        {
            if (!bFileCreated)
            {
                if (!encoder.createMovieFile(strMovieName, static_cast<unsigned>(nEvenWidth),
                                             static_cast<unsigned>(nEvenHeight), MOVIE_BIT_RATE,
                                             MOVIE_KEY_FRAME_INTERVAL, MOVIE_QUALITY))
                {
                    logRecording(tr("The movie file could not be created."), LOG_ERROR);
                    break;
                }
                bFileCreated = true;
            }
            // A full disk or a removed folder: the encoder has logged why and refuses every
            // later frame, so the remaining frames would only burn time.
            if (!encoder.encodeImage(image))
            {
                logRecording(tr("Writing the movie failed; the recording was stopped and the "
                                "incomplete movie discarded."),
                             LOG_ERROR);
                break;
            }
        }
        if (frame.isCaptured)
        {
            ++nKeyFrame;
        }
    }

    CKXProcess::endLongProcess(RECORDING_PROCESS);
    // A movie ended early is discarded rather than closed and then removed by name: the encoder
    // writes it beside the chosen name until it is complete, so an older movie of that name is
    // kept. A close that fails has discarded the incomplete movie itself, likewise.
    const bool bEndedEarly = i < nFrames;
    bool bFinished = false;
    if (bEndedEarly)
    {
        encoder.discard();
    }
    else
    {
        bFinished = encoder.close();
    }
    if (!bFinished && bFileCreated && !bEndedEarly)
    {
        logRecording(tr("The movie file could not be finished; the incomplete movie was "
                        "discarded."),
                     LOG_ERROR);
    }
    pExporter.reset();
    {
        const QSignalBlocker blocker(m_pFPSSpinBox);
        m_pFPSSpinBox->setValue(nUserFrameRate);
    }
    CKXUtilityFns::restoreCursor();
    return KX_SUCCESS;
}
