// Construction, key frame list editing and sequence binding of the animation dialog.
#include "KX3DAnimationDlg.h"

#include "CKXSChildWindow.h"
#include "CKXSDataset.h"
#include "CKXSMessageBox.h"
#include "CKXUtilityFns.h"
#include "KeyFrameList.h"

#include <QAction>
#include <QCloseEvent>
#include <QEvent>
#include <QMenu>
#include <QPixmap>
#include <QSignalBlocker>

#include <utility>

namespace
{
const char* const DELETE_CURRENT_TEXT = "Delete Current";
const char* const DELETE_ALL_TEXT = "Delete All";

QIcon iconFromResource(const char* pszResource)
{
    QIcon icon;
    icon.addPixmap(QPixmap(QString::fromLatin1(pszResource)), QIcon::Normal, QIcon::Off);
    return icon;
}
} // namespace

CKX3DAnimationDlg::CKX3DAnimationDlg(QWidget* parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
{
    setupUi(this);
    init();
}

CKX3DAnimationDlg::~CKX3DAnimationDlg() = default;

void CKX3DAnimationDlg::init()
{
    setObjectName(QStringLiteral("3D Animation"));

    m_bIsAnimating = false;
    m_bIsRecording = false;
    m_bViewChangedByAnimation = false;
    m_pChildWindow = nullptr;

    m_pDeleteMenu = new QMenu(this);
    m_pDeleteMenu->addAction(QString());
    m_pDeleteMenu->setDefaultAction(m_pDeleteMenu->addAction(QString()));
    translateDeleteMenu();
    m_pDeleteKeyframesButton->setMenu(m_pDeleteMenu);

    const QFont hostFont = getMACDefaultFont();
    const QList<QWidget*> hostFontWidgets = {
        textLabel2_2_5_2, textLabel1_5,    textLabel1_2,    textLabel1_2_2,    textLabel1_3_2,
        m_pPlayButton,    m_pRecordButton, m_pAnimationsCB, m_pLoadAnimButton, m_pSaveAnimButton};
    for (QWidget* pWidget : hostFontWidgets)
    {
        pWidget->setFont(hostFont);
    }

    m_iconPlay = iconFromResource(":/Resource/play_green.xpm");
    m_iconStop = iconFromResource(":/Resource/stop_blue.xpm");
    m_iconRecord = iconFromResource(":/Resource/record_red.xpm");

    m_pRecordButton->setDefault(true);
    m_pPlayButton->setDefault(true);

    setWindowFlags(Qt::Window);

    connect(m_pFPSSpinBox, SIGNAL(valueChanged(int)), this, SLOT(onFPSSpinBoxValueChanged(int)));
    connect(m_pFrameFactorSpinBox, SIGNAL(valueChanged(int)), this,
            SLOT(onFrameFactorSpinBoxValueChanged(int)));
    connect(m_pDurationSpinBox, SIGNAL(valueChanged(int)), this,
            SLOT(onDurationSpinBoxValueChanged(int)));
    connect(m_pTimeScaleSpinBox, SIGNAL(valueChanged(int)), this,
            SLOT(onTimeScaleSpinBoxValueChanged(int)));
    connect(m_pTimeScaleSlider, SIGNAL(valueChanged(int)), this,
            SLOT(onTimeScaleSliderValueChanged(int)));
    // activated, not currentIndexChanged: choosing the same preset again runs it again.
    connect(m_pAnimationsCB, SIGNAL(activated(int)), this, SLOT(onActivateAnimationsCB()));
    connect(m_pPlayButton, SIGNAL(clicked()), this, SLOT(onClickPlayButton()));
    connect(m_pLoadAnimButton, SIGNAL(clicked()), this, SLOT(onClickLoadAnimationButton()));
    connect(m_pSaveAnimButton, SIGNAL(clicked()), this, SLOT(onClickSaveAnimationButton()));
    connect(m_pRecordButton, SIGNAL(clicked()), this, SLOT(onClickRecordButton()));
    connect(m_pDeleteKeyframesButton, SIGNAL(clicked()), this,
            SLOT(onClickDeleteKeyFramesButton()));
    connect(m_pUpdateKeyframesButton, SIGNAL(clicked()), this, SLOT(onClickUpdateKeyframeButton()));
    connect(m_pAddKeyframeButton, SIGNAL(clicked()), this, SLOT(onClickAddKeyFrameButton()));
    connect(m_pMoveKeyFramesUpButton, SIGNAL(clicked()), this, SLOT(onClickMoveKeyFramesUp()));
    connect(m_pMoveKeyFramesDownButton, SIGNAL(clicked()), this, SLOT(onClickMoveKeyFramesDown()));
    connect(m_pDeleteMenu, SIGNAL(triggered(QAction*)), this,
            SLOT(onSelectDeleteKeyframesPopup(QAction*)));
    connect(m_pKeyFrameListBox, SIGNAL(itemSelectionChanged()), this,
            SLOT(onClickKeyFrameListBox()));

    onSelectDeleteKeyframesPopup(m_pDeleteMenu->defaultAction());

    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

    // The frame rate is fixed at 10 frames per second; the box only shows it.
    m_pFPSSpinBox->setReadOnly(true);
    m_pFPSSpinBox->setEnabled(false);
}

// ---------------------------------------------------------------------------------------------
// Helpers

QString CKX3DAnimationDlg::boundSequenceId() const
{
    if (!m_pChildWindow)
    {
        return QString();
    }
    const CKXSSequenceDataset* pSequence = m_pChildWindow->getSequenceDataset();
    return pSequence ? pSequence->getSequenceID() : QString();
}

void CKX3DAnimationDlg::refreshSeqStatus()
{
    const QString strSeqId = boundSequenceId();
    if (!strSeqId.isEmpty())
    {
        updateSeqStatus(strSeqId);
    }
}

QStringList CKX3DAnimationDlg::keyFrameRows() const
{
    QStringList rows;
    rows.reserve(m_pKeyFrameListBox->count());
    for (int i = 0; i < m_pKeyFrameListBox->count(); ++i)
    {
        rows.append(m_pKeyFrameListBox->item(i)->text());
    }
    return rows;
}

void CKX3DAnimationDlg::showMessage(const QString& strText)
{
    CKXSMessageBox::information(this, CKXUtilityFns::getAppName(), strText, QString(), QString(),
                                QString(), 0, -1);
}

// The delete handler compares an action's text with the translated entries, so the menu must
// always carry the texts of the current language.
void CKX3DAnimationDlg::translateDeleteMenu()
{
    const QList<QAction*> actions = m_pDeleteMenu->actions();
    actions.at(0)->setText(tr(DELETE_CURRENT_TEXT));
    actions.at(1)->setText(tr(DELETE_ALL_TEXT));
}

// ---------------------------------------------------------------------------------------------
// Accessors for frame generation and the file writer

int CKX3DAnimationDlg::getKeyFrameCount() const
{
    return m_pKeyFrameListBox->count();
}

QString CKX3DAnimationDlg::getKeyFrameName(int nRow) const
{
    const QListWidgetItem* pItem = m_pKeyFrameListBox->item(nRow);
    return pItem ? pItem->text() : QString();
}

QMap<QString, SSpKeyFrameAttributes> CKX3DAnimationDlg::getKeyFrameAttributesMap() const
{
    return m_mapKeyFrames;
}

int CKX3DAnimationDlg::getDuration() const
{
    return m_pDurationSpinBox->value();
}

int CKX3DAnimationDlg::getFrameRate() const
{
    return m_pFPSSpinBox->value();
}

// ---------------------------------------------------------------------------------------------
// Key frame list editing

void CKX3DAnimationDlg::onClickAddKeyFrameButton()
{
    if (isAnimating())
    {
        return;
    }
    // The key frame comes from whichever child window is active now.
    m_pChildWindow = CKXSChildWindow::getActiveChildWnd();
    if (!m_pChildWindow)
    {
        return;
    }
    if (addNewKeyFrame(getKeyFrameAttributesFromCurrent3DView()))
    {
        adjustTimeStamps();
        refreshSeqStatus();
    }
}

bool CKX3DAnimationDlg::addNewKeyFrame(SSpKeyFrameAttributes keyFrame)
{
    const int nKeyFrames = m_mapKeyFrames.size();
    if (nKeyFrames == 0)
    {
        save3DViewStates();
    }
    if (nKeyFrames >= KeyFrameList::MAX_KEY_FRAMES)
    {
        showMessage(tr("Number of key frames cannot exceed the time scale limit."));
        return false;
    }

    const QString strName = KeyFrameList::keyFrameName(getNextKeyFrameNo());
    m_mapKeyFrames.insert(strName, keyFrame);
    refreshSeqStatus();
    m_pKeyFrameListBox->addItem(strName);

    // Returning to the initial view (deselection, Delete All) must also set the display of
    // sources that appeared only after it was saved.
    KeyFrameList::addMissingSources(keyFrame.controls, m_sInitialViewState.controls);
    return true;
}

int CKX3DAnimationDlg::getNextKeyFrameNo() const
{
    return KeyFrameList::nextKeyFrameNumber(keyFrameRows());
}

void CKX3DAnimationDlg::adjustTimeStamps()
{
    KeyFrameList::adjustTimeStamps(keyFrameRows(), m_pTimeScaleSlider->maximum(), m_mapKeyFrames);
}

void CKX3DAnimationDlg::sortKeyframesByTimeStamp()
{
    const QStringList order = KeyFrameList::timeStampOrder(keyFrameRows(), m_mapKeyFrames);
    const QSignalBlocker blocker(m_pKeyFrameListBox);
    QListWidgetItem* pCurrent = m_pKeyFrameListBox->currentItem();
    bool bMoved = false;
    for (int i = 0; i < order.size(); ++i)
    {
        if (m_pKeyFrameListBox->item(i)->text() == order.at(i))
        {
            continue;
        }
        for (int j = i + 1; j < m_pKeyFrameListBox->count(); ++j)
        {
            if (m_pKeyFrameListBox->item(j)->text() == order.at(i))
            {
                m_pKeyFrameListBox->insertItem(i, m_pKeyFrameListBox->takeItem(j));
                bMoved = true;
                break;
            }
        }
    }
    if (bMoved && pCurrent)
    {
        m_pKeyFrameListBox->setCurrentItem(pCurrent);
    }
}

void CKX3DAnimationDlg::onClickUpdateKeyframeButton()
{
    if (isAnimating())
    {
        return;
    }
    const int nRow = m_pKeyFrameListBox->currentRow();
    if (nRow < 0)
    {
        showMessage(tr("No key frames selected."));
        return;
    }
    const int nMaximum = m_pTimeScaleSlider->maximum();
    const QString strName = m_pKeyFrameListBox->item(nRow)->text();
    // The last key frame stays pinned to the end of the time scale.
    if (m_mapKeyFrames.value(strName).timeStamp == nMaximum &&
        m_pTimeScaleSlider->value() != nMaximum)
    {
        showMessage(tr("Changing time stamp for the last key frame is not allowed."));
        return;
    }
    if (!m_pChildWindow)
    {
        return;
    }

    const SSpKeyFrameAttributes keyFrame = getKeyFrameAttributesFromCurrent3DView();
    if (!KeyFrameList::fitsBetweenNeighbours(keyFrameRows(), m_mapKeyFrames, nRow,
                                             keyFrame.timeStamp))
    {
        showMessage(tr("Cannot Update. The time stamp should be between those of the preceeding "
                       "and succeeding key frames."));
        return;
    }
    m_mapKeyFrames.insert(strName, keyFrame);
    sortKeyframesByTimeStamp();
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onClickDeleteKeyFramesButton()
{
    // A plain click opens the menu too, not only the arrow.
    m_pDeleteKeyframesButton->showMenu();
}

void CKX3DAnimationDlg::onSelectDeleteKeyframesPopup(QAction* pAction)
{
    if (isAnimating() || m_pKeyFrameListBox->count() == 0)
    {
        return;
    }
    const QString strText = pAction ? pAction->text().toLower() : QString();
    if (strText == tr(DELETE_CURRENT_TEXT).toLower())
    {
        const int nRow = m_pKeyFrameListBox->currentRow();
        if (nRow < 0)
        {
            showMessage(tr("No key frames selected."));
            return;
        }
        m_mapKeyFrames.remove(m_pKeyFrameListBox->item(nRow)->text());
        delete m_pKeyFrameListBox->takeItem(nRow);
        adjustTimeStamps();
    }
    else if (strText == tr(DELETE_ALL_TEXT).toLower())
    {
        m_pTimeScaleSlider->setValue(0);
        m_pTimeScaleSpinBox->setValue(0);
        {
            const QSignalBlocker blocker(m_pKeyFrameListBox);
            m_pKeyFrameListBox->clear();
        }
        m_mapKeyFrames.clear();
        setKeyFrameAttributesTo3DView(m_sInitialViewState, -1, true);
    }
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onClickMoveKeyFramesUp()
{
    const int nRow = m_pKeyFrameListBox->currentRow();
    if (isAnimating() || nRow <= 0)
    {
        return;
    }
    {
        const QSignalBlocker blocker(m_pKeyFrameListBox);
        QListWidgetItem* pItem = m_pKeyFrameListBox->takeItem(nRow);
        m_pKeyFrameListBox->insertItem(nRow - 1, pItem);
        m_pKeyFrameListBox->setCurrentItem(pItem);
    }
    // The two view states trade places in time; the stamps keep ascending with the rows.
    SSpKeyFrameAttributes& moved = m_mapKeyFrames[m_pKeyFrameListBox->item(nRow - 1)->text()];
    SSpKeyFrameAttributes& other = m_mapKeyFrames[m_pKeyFrameListBox->item(nRow)->text()];
    std::swap(moved.timeStamp, other.timeStamp);
    refreshSeqStatus();
    onClickKeyFrameListBox();
}

void CKX3DAnimationDlg::onClickMoveKeyFramesDown()
{
    const int nRow = m_pKeyFrameListBox->currentRow();
    if (isAnimating() || nRow < 0 || nRow >= m_pKeyFrameListBox->count() - 1)
    {
        return;
    }
    {
        const QSignalBlocker blocker(m_pKeyFrameListBox);
        QListWidgetItem* pItem = m_pKeyFrameListBox->takeItem(nRow);
        m_pKeyFrameListBox->insertItem(nRow + 1, pItem);
        m_pKeyFrameListBox->setCurrentItem(pItem);
    }
    SSpKeyFrameAttributes& moved = m_mapKeyFrames[m_pKeyFrameListBox->item(nRow + 1)->text()];
    SSpKeyFrameAttributes& other = m_mapKeyFrames[m_pKeyFrameListBox->item(nRow)->text()];
    std::swap(moved.timeStamp, other.timeStamp);
    refreshSeqStatus();
    onClickKeyFrameListBox();
}

void CKX3DAnimationDlg::onClickKeyFrameListBox()
{
    const int nRow = m_pKeyFrameListBox->currentRow();
    QListWidgetItem* pItem = m_pKeyFrameListBox->currentItem();
    if (isAnimating() || nRow == -1 || !pItem)
    {
        return;
    }
    m_pKeyFrameListBox->blockSignals(true);
    if (pItem->isSelected())
    {
        m_pKeyFrameListBox->setCurrentRow(nRow);
        m_pKeyFrameListBox->blockSignals(false);
        setKeyFrameAttributesTo3DView(m_mapKeyFrames.value(pItem->text()), nRow, false);
    }
    else
    {
        // Deselecting returns the view to the state saved before the first key frame.
        m_pKeyFrameListBox->clearSelection();
        setKeyFrameAttributesTo3DView(m_sInitialViewState, -1, true);
        m_pKeyFrameListBox->blockSignals(false);
    }
}

void CKX3DAnimationDlg::onTimeScaleSliderValueChanged(int nValue)
{
    m_pTimeScaleSpinBox->setValue(nValue);
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onTimeScaleSpinBoxValueChanged(int nValue)
{
    m_pTimeScaleSlider->setValue(nValue);
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onFPSSpinBoxValueChanged(int)
{
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onFrameFactorSpinBoxValueChanged(int)
{
    refreshSeqStatus();
}

void CKX3DAnimationDlg::onDurationSpinBoxValueChanged(int)
{
    refreshSeqStatus();
}

// ---------------------------------------------------------------------------------------------
// Sequence binding

void CKX3DAnimationDlg::setSequenceWindow(CKXSChildWindow* pWindow)
{
    if (pWindow != m_pChildWindow && m_bIsAnimating)
    {
        m_bStopAnimation = true;
    }
    if (m_pChildWindow && m_pChildWindow != pWindow)
    {
        const QString strDeparting = boundSequenceId();
        if (!strDeparting.isEmpty())
        {
            m_mapSeqKeyFrames.insert(
                strDeparting,
                sSeqKeyFrameAttributes(m_mapKeyFrames, m_sInitialViewState, m_pFPSSpinBox->value(),
                                       m_pDurationSpinBox->value(), m_pFrameFactorSpinBox->value(),
                                       m_pTimeScaleSlider->value()));
        }
    }
    if (pWindow && pWindow->getSequenceDataset())
    {
        updateDialogStatus(pWindow->getSequenceDataset()->getSequenceID());
    }
    m_pChildWindow = pWindow;
}

CKXSChildWindow* CKX3DAnimationDlg::getSequenceWindow() const
{
    return m_pChildWindow;
}

void CKX3DAnimationDlg::updateDialogStatus(const QString& strSeqId)
{
    if (strSeqId.isEmpty())
    {
        return;
    }
    const sSeqKeyFrameAttributes& stored = m_mapSeqKeyFrames[strSeqId];
    m_mapKeyFrames = stored.keyFrames;
    m_sInitialViewState = stored.viewState;
    const int nFrameRate = stored.controlValue1;
    const int nDuration = stored.controlValue2;
    const int nFrameFactor = stored.controlValue3;
    const int nTimeScale = stored.controlValue4;

    // None of the editing handlers may write the store back while it is being read.
    const QSignalBlocker listBlocker(m_pKeyFrameListBox);
    const QSignalBlocker fpsBlocker(m_pFPSSpinBox);
    const QSignalBlocker durationBlocker(m_pDurationSpinBox);
    const QSignalBlocker factorBlocker(m_pFrameFactorSpinBox);
    const QSignalBlocker sliderBlocker(m_pTimeScaleSlider);
    const QSignalBlocker timeScaleBlocker(m_pTimeScaleSpinBox);

    m_pKeyFrameListBox->clear();
    m_pKeyFrameListBox->addItems(m_mapKeyFrames.keys());
    sortKeyframesByTimeStamp();

    m_pFPSSpinBox->setValue(nFrameRate);
    m_pDurationSpinBox->setValue(nDuration);
    m_pFrameFactorSpinBox->setValue(nFrameFactor);
    m_pTimeScaleSlider->setValue(nTimeScale);
    m_pTimeScaleSpinBox->setValue(nTimeScale);
}

void CKX3DAnimationDlg::updateSeqStatus(const QString& strSeqId)
{
    const QString strBoundId = boundSequenceId();
    if (strSeqId.isEmpty() || strBoundId.isEmpty())
    {
        return;
    }
    sSeqKeyFrameAttributes stored = m_mapSeqKeyFrames.value(strSeqId);
    stored.keyFrames = m_mapKeyFrames;
    stored.viewState = m_sInitialViewState;
    stored.controlValue1 = m_pFPSSpinBox->value();
    stored.controlValue2 = m_pDurationSpinBox->value();
    stored.controlValue3 = m_pFrameFactorSpinBox->value();
    stored.controlValue4 = m_pTimeScaleSlider->value();
    m_mapSeqKeyFrames.insert(strBoundId, stored);
}

void CKX3DAnimationDlg::save3DViewStates()
{
    // Without a bound window there is no view to save; keep the state we have.
    if (!m_pChildWindow)
    {
        return;
    }
    m_sInitialViewState = getKeyFrameAttributesFromCurrent3DView();
    refreshSeqStatus();
}

void CKX3DAnimationDlg::clearDialogUI()
{
    if (m_bIsAnimating)
    {
        m_bStopAnimation = true;
    }
    const QString strSeqId = boundSequenceId();
    if (!strSeqId.isEmpty())
    {
        m_mapSeqKeyFrames.remove(strSeqId);
        updateDialogStatus(strSeqId);
    }
}

void CKX3DAnimationDlg::onSequenceRemoved(CKXSSequenceDataset* pSeqDataset)
{
    if (!pSeqDataset)
    {
        return;
    }
    const QString strSeqId = pSeqDataset->getSequenceID();
    m_mapSeqKeyFrames.remove(strSeqId);
    if (m_pChildWindow && boundSequenceId() == strSeqId)
    {
        m_pChildWindow = nullptr;
        onSelectDeleteKeyframesPopup(m_pDeleteMenu->defaultAction());
    }
}

void CKX3DAnimationDlg::changeEvent(QEvent* pEvent)
{
    if (pEvent->type() == QEvent::LanguageChange)
    {
        // While playback or recording runs, its button shows the Stop face, and a click on it
        // stops the run only while it does: the form's translation would put the idle face back
        // and the next click would start a second run inside the first. The running faces stay
        // as they are; the run itself puts the idle ones back when it ends.
        const QString strPlayText = m_pPlayButton->text();
        const QString strPlayTip = m_pPlayButton->toolTip();
        const QString strRecordText = m_pRecordButton->text();
        const QString strRecordTip = m_pRecordButton->toolTip();
        retranslateUi(this);
        translateDeleteMenu();
        if (m_bIsAnimating)
        {
            m_pPlayButton->setText(strPlayText);
            m_pPlayButton->setToolTip(strPlayTip);
            m_pRecordButton->setText(strRecordText);
            m_pRecordButton->setToolTip(strRecordTip);
        }
    }
    QDialog::changeEvent(pEvent);
}

void CKX3DAnimationDlg::closeEvent(QCloseEvent* pEvent)
{
    // The one dialog serves every sequence for the plug-in's lifetime: closing only hides it.
    pEvent->ignore();
    if (!m_bIsAnimating)
    {
        hide();
    }
}
