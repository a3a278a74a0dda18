#include "CKXSequenceWindowImpl.h"

#include "C3DMesh.h"
#include "C3DObject.h"
#include "CKXAppState.h"
#include "CKXGLView.h"
#include "CKXSDataset.h"
#include "CKXSLog.h"
#include "CKXSampleScene.h"
#include "CKXSceneToolInfo.h"
#include "CKXSequenceRegistry.h"

#include <QCloseEvent>
#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabWidget>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace
{
const QString kTab3DView = QStringLiteral("3D View");
const QString kTabImage = QStringLiteral("Image");
const QString kTabInfo = QStringLiteral("Info");
const QString kMultimodalityVolume = QStringLiteral("GLVolume");

// The widget size whose framebuffer is nDevice pixels at that pixel ratio. The framebuffer is
// the widget size times the ratio, rounded; with a fractional ratio not every device size has
// such a widget size, and the nearest one is taken.
int logicalExtent(int nDevice, qreal dRatio)
{
    const int nGuess = qMax(1, qRound(nDevice / dRatio));
    for (int nCandidate : {nGuess, nGuess - 1, nGuess + 1})
    {
        if (nCandidate > 0 && qRound(nCandidate * dRatio) == nDevice)
            return nCandidate;
    }
    return nGuess;
}
} // namespace

CKXSequenceWindowImpl::CKXSequenceWindowImpl(CKXSSequenceDataset* pSequence, CKXSDataset* pDataset,
                                             CKXSampleScene* pScene, const QString& strSubject,
                                             QWidget* pParent)
    : CKXSSequenceWindow(pParent), m_pSequence(pSequence), m_pDataset(pDataset),
      m_strSubject(strSubject), m_pScene(pScene), m_pView(new CKXGLView(m_pScene)),
      m_pViewScroll(new QScrollArea), m_pToolInfo(new CKXSceneToolInfo(m_pScene)),
      m_pTabs(new QTabWidget(this)), m_pInfoBrowser(new QTextBrowser)
{
    setObjectName(QStringLiteral("SequenceWindow_%1")
                      .arg(pSequence ? pSequence->getSequenceID() : QString()));
    setWindowTitle(pSequence ? pSequence->getSequenceName() : QString());
    setMinimumSize(320, 260);
    m_pScene->setParent(this);

    m_pView->setObjectName(QStringLiteral("GLView"));
    m_pTabs->setObjectName(QStringLiteral("SequenceTabs"));
    m_pTabs->setDocumentMode(true);
    m_pTabs->setTabPosition(QTabWidget::South);
    // The view fills the page unless it has a fixed size; a larger one scrolls. The wheel over
    // the view moves the camera, so the scroll bars are what scrolls.
    m_pViewScroll->setObjectName(QStringLiteral("GLViewScroll"));
    m_pViewScroll->setFrameShape(QFrame::NoFrame);
    m_pViewScroll->setWidgetResizable(true);
    m_pViewScroll->setAlignment(Qt::AlignCenter);
    m_pViewScroll->setBackgroundRole(QPalette::Dark);
    m_pViewScroll->setWidget(m_pView);
    m_pTabs->addTab(m_pViewScroll, kTab3DView);
    m_pTabs->addTab(createImageTab(), kTabImage);
    m_pInfoBrowser->setObjectName(QStringLiteral("InfoBrowser"));
    m_pTabs->addTab(m_pInfoBrowser, kTabInfo);

    QVBoxLayout* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->addWidget(m_pTabs);

    m_sLoadedControls = m_pScene->currentControls();
    m_mapLoadedOrgans = m_pScene->organsVisibility();
    m_bLoadedVolumeVisible = isMultimodalityVolumeVisible();

    connect(m_pTabs, &QTabWidget::currentChanged, this, &CKXSequenceWindowImpl::onSignalTabChanged);
    // A view larger than its window shows its middle, where the subject is, as the window is
    // shown and resized, until the user scrolls.
    for (QScrollBar* pBar :
         {m_pViewScroll->horizontalScrollBar(), m_pViewScroll->verticalScrollBar()})
    {
        connect(pBar, &QScrollBar::rangeChanged, this, &CKXSequenceWindowImpl::centreView);
        connect(pBar, &QScrollBar::actionTriggered, this, [this] { m_bCentreView = false; });
    }
    // A new framebuffer may come from another pixel ratio (the window moved to another screen).
    connect(m_pView, &QOpenGLWidget::resized, this, &CKXSequenceWindowImpl::applyViewPixelSize);
    CKXSequenceRegistry::add(m_pSequence.get(), this);
}

CKXSequenceWindowImpl::~CKXSequenceWindowImpl()
{
    // Deleted without being closed (its workspace goes away): the removal is announced all the
    // same, while this window can still answer for its sequence.
    CKXSequenceRegistry::remove(this);
    if (!m_bClosing)
    {
        m_bClosing = true;
        emit signalClosing(this);
    }
    // The view renders the scene: it goes first, without the tab switch its removal causes
    // being announced as a palette change.
    m_pTabs->blockSignals(true);
    delete m_pView;
    m_pView = nullptr;
}

QWidget* CKXSequenceWindowImpl::createImageTab()
{
    QWidget* pPage = new QWidget;
    pPage->setObjectName(QStringLiteral("ImagePage"));
    m_pSnapshotLabel = new QLabel(tr("No snapshot yet."), pPage);
    m_pSnapshotLabel->setObjectName(QStringLiteral("SnapshotLabel"));
    m_pSnapshotLabel->setAlignment(Qt::AlignCenter);
    m_pSnapshotLabel->setMinimumSize(160, 120);
    m_pSnapshotLabel->setStyleSheet(QStringLiteral("background: black; color: #c0c0c0;"));
    m_pRangeLabel = new QLabel(pPage);
    QPushButton* pRefresh = new QPushButton(tr("Refresh"), pPage);
    connect(pRefresh, &QPushButton::clicked, this, &CKXSequenceWindowImpl::onClickRefreshSnapshot);

    QHBoxLayout* pBar = new QHBoxLayout;
    pBar->addWidget(m_pRangeLabel, 1);
    pBar->addWidget(pRefresh);
    QVBoxLayout* pLayout = new QVBoxLayout(pPage);
    pLayout->setContentsMargins(4, 4, 4, 4);
    pLayout->addWidget(m_pSnapshotLabel, 1);
    pLayout->addLayout(pBar);
    return pPage;
}

C3DView* CKXSequenceWindowImpl::get3DScene() const
{
    return m_pView;
}

C3DSGManager* CKXSequenceWindowImpl::getSGManager() const
{
    return m_pScene;
}

CKXSToolInfo* CKXSequenceWindowImpl::getToolInfo() const
{
    return m_pToolInfo.get();
}

C3DMesh* CKXSequenceWindowImpl::getSurfaceMesh() const
{
    return m_pScene->surfaceMesh();
}

C3DVolume* CKXSequenceWindowImpl::getVolume() const
{
    return m_pScene->originalVolume();
}

CKXSSequenceDataset* CKXSequenceWindowImpl::getSequenceDataset() const
{
    return m_pSequence.get();
}

QString CKXSequenceWindowImpl::getCurrentTabName() const
{
    return m_pTabs->tabText(m_pTabs->currentIndex());
}

QMap<QString, bool> CKXSequenceWindowImpl::getOrgansVisibilityMap() const
{
    return m_pScene->organsVisibility();
}

bool CKXSequenceWindowImpl::setCurrentTab(const QString& strTabName)
{
    for (int i = 0; i < m_pTabs->count(); ++i)
    {
        if (m_pTabs->tabText(i).compare(strTabName, Qt::CaseInsensitive) == 0)
        {
            m_pTabs->setCurrentIndex(i);
            return true;
        }
    }
    return false;
}

QStringList CKXSequenceWindowImpl::tabNames() const
{
    QStringList list;
    for (int i = 0; i < m_pTabs->count(); ++i)
    {
        list.append(m_pTabs->tabText(i));
    }
    return list;
}

bool CKXSequenceWindowImpl::isMultimodalityVolumeVisible() const
{
    const C3DObject* pNode = m_pScene->getNode(kMultimodalityVolume);
    return pNode && pNode->isDisplayed();
}

void CKXSequenceWindowImpl::setMultimodalityVolumeVisible(bool bVisible)
{
    if (C3DObject* pNode = m_pScene->getNode(kMultimodalityVolume))
    {
        pNode->show(bVisible);
        m_pView->update();
    }
}

void CKXSequenceWindowImpl::setViewPixelSize(const QSize& size)
{
    m_viewPixelSize = size.isValid() ? size : QSize();
    if (!m_viewPixelSize.isValid())
    {
        m_pView->setMinimumSize(160, 120);
        m_pView->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        m_pViewScroll->setWidgetResizable(true);
        return;
    }
    m_bCentreView = true;
    applyViewPixelSize();
    centreView();
}

void CKXSequenceWindowImpl::centreView()
{
    if (!m_bCentreView)
        return;
    for (QScrollBar* pBar :
         {m_pViewScroll->horizontalScrollBar(), m_pViewScroll->verticalScrollBar()})
        pBar->setValue((pBar->minimum() + pBar->maximum()) / 2);
}

void CKXSequenceWindowImpl::applyViewPixelSize()
{
    if (!m_viewPixelSize.isValid())
        return;
    const qreal dRatio = m_pView->devicePixelRatioF();
    const QSize logical(logicalExtent(m_viewPixelSize.width(), dRatio),
                        logicalExtent(m_viewPixelSize.height(), dRatio));
    // Setting the size it already has does nothing: no resize, so no loop through resized().
    if (m_pView->minimumSize() != logical || m_pView->maximumSize() != logical)
        m_pView->setFixedSize(logical);
}

void CKXSequenceWindowImpl::reloadScene()
{
    m_pScene->applyControls(m_sLoadedControls);
    for (auto it = m_mapLoadedOrgans.constBegin(); it != m_mapLoadedOrgans.constEnd(); ++it)
    {
        m_pScene->updateMeshVisibility(it.key(), it.value());
    }
    setMultimodalityVolumeVisible(m_bLoadedVolumeVisible);
    m_pView->resetCamera();
    m_pView->update();
    onSignal3DViewChanged(true);
}

void CKXSequenceWindowImpl::onSignal3DViewChanged(bool bClearAnalysisResults)
{
    if (m_pTabs->currentWidget() == m_pInfoBrowser)
    {
        refreshInfo();
    }
    emit signal3DViewChanged(bClearAnalysisResults);
}

void CKXSequenceWindowImpl::updateMeshCheckStatus()
{
    emit signalMeshCheckStatusChanged();
}

void CKXSequenceWindowImpl::onReset3DView()
{
    m_pView->resetCamera();
    m_pView->update();
}

void CKXSequenceWindowImpl::onSignalTabChanged(int nIndex)
{
    QWidget* pPage = m_pTabs->widget(nIndex);
    if (pPage == m_pInfoBrowser)
    {
        refreshInfo();
    }
    else if (pPage && pPage != m_pViewScroll)
    {
        onClickRefreshSnapshot();
    }
    emit updatePluginPalette(m_pTabs->tabText(nIndex));
}

void CKXSequenceWindowImpl::onClickRefreshSnapshot()
{
    // The view renders into its own framebuffer even while its tab is hidden.
    const QImage image = m_pView->grabFramebuffer();
    if (image.isNull())
    {
        m_pSnapshotLabel->setText(tr("Open the 3D View tab once to render the scene."));
    }
    else
    {
        m_pSnapshotLabel->setPixmap(QPixmap::fromImage(image).scaled(
            m_pSnapshotLabel->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    }
    double dMin = 0.0;
    double dMax = 0.0;
    C3DMesh* pMesh = m_pScene->surfaceMesh();
    if (pMesh && pMesh->isPhotonDensityMappingValid())
    {
        pMesh->getPDImageMinMax(dMin, dMax);
        m_pRangeLabel->setText(tr("Photon density range %1 .. %2, snapshot at %3")
                                   .arg(dMin, 0, 'g', 4)
                                   .arg(dMax, 0, 'g', 4)
                                   .arg(QTime::currentTime().toString(QStringLiteral("HH:mm:ss"))));
    }
    else
    {
        m_pRangeLabel->setText(tr("No photon density map."));
    }
}

void CKXSequenceWindowImpl::refreshInfo()
{
    const unitquaternion rotation = m_pView->getCurrentQuaternion();
    const Vec3f translation = m_pView->getTranslationVector();
    QString strOrgans;
    const QMap<QString, bool> mapOrgans = m_pScene->organsVisibility();
    for (auto it = mapOrgans.constBegin(); it != mapOrgans.constEnd(); ++it)
    {
        strOrgans += QStringLiteral("<li>%1 (%2)</li>")
                         .arg(it.key().toHtmlEscaped(), it.value() ? tr("shown") : tr("hidden"));
    }
    QString strSources;
    for (const QString& strSource : m_pScene->sourceNames())
    {
        strSources += QStringLiteral("<li>%1</li>").arg(strSource.toHtmlEscaped());
    }
    const QString strStudy = m_pDataset ? m_pDataset->getDatasetName() : QString();
    m_pInfoBrowser->setHtml(
        tr("<h3>%1</h3><table>"
           "<tr><td>Sequence ID</td><td>%2</td></tr>"
           "<tr><td>Study</td><td>%3</td></tr>"
           "<tr><td>Subject</td><td>%4</td></tr>"
           "<tr><td>Camera rotation</td><td>w %5, x %6, y %7, z %8</td></tr>"
           "<tr><td>Camera translation</td><td>%9, %10, %11 px</td></tr>"
           "</table><p><b>Organs</b></p><ul>%12</ul><p><b>Light sources</b></p><ul>%13</ul>")
            .arg(m_pSequence->getSequenceName().toHtmlEscaped(),
                 m_pSequence->getSequenceID().toHtmlEscaped(), strStudy.toHtmlEscaped(),
                 m_strSubject.toHtmlEscaped())
            .arg(rotation.w(), 0, 'f', 3)
            .arg(rotation.x(), 0, 'f', 3)
            .arg(rotation.y(), 0, 'f', 3)
            .arg(rotation.z(), 0, 'f', 3)
            .arg(translation.x(), 0, 'f', 1)
            .arg(translation.y(), 0, 'f', 1)
            .arg(translation.z(), 0, 'f', 1)
            .arg(strOrgans, strSources));
}

void CKXSequenceWindowImpl::closeEvent(QCloseEvent* pEvent)
{
    if (!CKXAppState::canClose())
    {
        // A recording writes from this view; closing it would cut the movie short.
        getLogObject()->log(tr("A recording is running; the sequence window stays open."),
                            QStringLiteral("SequenceWindow"), 0, QString(), 3, false);
        pEvent->ignore();
        return;
    }
    // Out of the registry first: a tool told of the removal no longer finds the window.
    CKXSequenceRegistry::remove(this);
    if (!m_bClosing)
    {
        m_bClosing = true;
        emit signalClosing(this);
    }
    pEvent->accept();
}
