#include "CKX3DToolsPalette.h"

#include "C3DMesh.h"
#include "C3DObject.h"
#include "CKXGLView.h"
#include "CKXPalette.h"
#include "CKXSampleScene.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXSourceControlsPanel.h"
#include "KXPaletteWidgets.h"
#include "PLConstants.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFontMetrics>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QListWidget>
#include <QPixmap>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

using namespace KXPaletteWidgets;

namespace
{
const QString kMultimodalityVolume = QStringLiteral("GLVolume");
// Render and shade modes the scene starts with when a record sets none of the flags.
constexpr int kDefaultRenderMode = 2; // solid
constexpr int kDefaultShadeMode = 2;  // lit

// A palette page: the groups from the top, the rest empty.
QWidget* page(std::initializer_list<QWidget*> listGroups)
{
    QWidget* pPage = new QWidget;
    QVBoxLayout* pLayout = new QVBoxLayout(pPage);
    pLayout->setContentsMargins(4, 6, 4, 4);
    for (QWidget* pGroup : listGroups)
    {
        pLayout->addWidget(pGroup);
    }
    pLayout->addStretch(1);
    return pPage;
}

QCheckBox* checkBox(const QString& strText, const QString& strName, QWidget* pParent)
{
    QCheckBox* pCheck = new QCheckBox(strText, pParent);
    pCheck->setObjectName(strName);
    return pCheck;
}
} // namespace

CKX3DToolsPalette::CKX3DToolsPalette(QWidget* pParent)
    : QWidget(pParent), m_pRefreshTimer(new QTimer(this)), m_pTitle(new QLabel(this)),
      m_pKeyFrameLine(new QLabel(this)), m_pPages(new QTabWidget(this)),
      m_pSourcePanel(new CKXSourceControlsPanel(this)),
      m_pMultimodalityVolume(checkBox(tr("Multimodality volume"), "multimodalityVolume", this))
{
    setObjectName(QStringLiteral("ToolsPalette"));
    m_pTitle->setObjectName(QStringLiteral("paletteTitle"));
    m_pTitle->setWordWrap(true);
    QFont titleFont = m_pTitle->font();
    titleFont.setBold(true);
    m_pTitle->setFont(titleFont);
    // The key frame line comes and goes during playback: its line stays reserved, so that the
    // controls below keep still.
    m_pKeyFrameLine->setObjectName(QStringLiteral("paletteKeyFrame"));
    m_pKeyFrameLine->setFont(titleFont);
    const QFontMetrics keyFrameMetrics(titleFont);
    m_pKeyFrameLine->setFixedHeight(qMax(keyFrameMetrics.height(), keyFrameMetrics.lineSpacing()));
    // Changes with every played frame: it paints its own background, so that the palette
    // beneath it is not painted again each time.
    m_pKeyFrameLine->setAutoFillBackground(true);

    QGroupBox* pVolumeGroup = new QGroupBox(tr("Multimodality"), this);
    QVBoxLayout* pVolumeLayout = new QVBoxLayout(pVolumeGroup);
    pVolumeLayout->addWidget(m_pMultimodalityVolume);

    // Three pages, so that each fits beside the views without scrolling.
    m_pPages->setObjectName(QStringLiteral("palettePages"));
    m_pPages->addTab(page({createMeshGroup(), createPDGroup()}), tr("Surface"));
    m_pPages->addTab(page({createOrganGroup(), pVolumeGroup}), tr("Organs"));
    m_pPages->addTab(page({m_pSourcePanel}), tr("Sources"));

    QVBoxLayout* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(6, 6, 6, 6);
    pLayout->addWidget(m_pTitle);
    pLayout->addWidget(m_pKeyFrameLine);
    pLayout->addWidget(m_pPages, 1);

    m_pSourcePanel->setEditFunction(
        [this](const QString& strSource, const std::function<void(tag_s3DSourceControls&)>& fnEdit)
        {
            editControls(
                [&](tag_s3Dcontrols& c)
                {
                    if (c.sourceControls.contains(strSource))
                    {
                        fnEdit(c.sourceControls[strSource]);
                    }
                });
        });
    connect(m_pSourcePanel, &CKXSourceControlsPanel::signalSourceSelected, this,
            &CKX3DToolsPalette::onSignalSourceSelected);
    connect(m_pMultimodalityVolume, &QCheckBox::clicked, this,
            &CKX3DToolsPalette::onClickMultimodalityVolume);
    m_pRefreshTimer->setSingleShot(true);
    connect(m_pRefreshTimer, &QTimer::timeout, this, &CKX3DToolsPalette::refresh);
    refresh();
}

QGroupBox* CKX3DToolsPalette::createMeshGroup()
{
    QGroupBox* pGroup = new QGroupBox(tr("Subject surface"), this);
    m_pMeshVisible = checkBox(tr("Visible"), "meshVisible", pGroup);
    m_pMeshOpacity = percentSlider("meshOpacity", pGroup);
    m_pMeshColor = colorButton("meshColor", pGroup);
    m_pMeshRender = combo("meshRender", renderModeNames(), pGroup);
    m_pMeshShade = combo("meshShade", shadeModeNames(), pGroup);

    QHBoxLayout* pTop = new QHBoxLayout;
    pTop->addWidget(m_pMeshVisible);
    pTop->addStretch(1);
    pTop->addWidget(m_pMeshColor);
    QFormLayout* pForm = new QFormLayout(pGroup);
    pForm->addRow(pTop);
    pForm->addRow(tr("Opacity"), withValueLabel(m_pMeshOpacity));
    pForm->addRow(tr("Render"), m_pMeshRender);
    pForm->addRow(tr("Shade"), m_pMeshShade);

    connect(m_pMeshVisible, &QCheckBox::clicked, this, &CKX3DToolsPalette::onClickMeshVisible);
    connect(m_pMeshOpacity, &QSlider::valueChanged, this, &CKX3DToolsPalette::onMeshOpacityChanged);
    connect(m_pMeshColor, &QPushButton::clicked, this, &CKX3DToolsPalette::onClickMeshColor);
    connect(m_pMeshRender, QOverload<int>::of(&QComboBox::activated), this,
            &CKX3DToolsPalette::onMeshRenderActivated);
    connect(m_pMeshShade, QOverload<int>::of(&QComboBox::activated), this,
            &CKX3DToolsPalette::onMeshShadeActivated);
    return pGroup;
}

QGroupBox* CKX3DToolsPalette::createPDGroup()
{
    QGroupBox* pGroup = new QGroupBox(tr("Photon density map"), this);
    pGroup->setObjectName(QStringLiteral("pdGroup"));
    m_pPDVisible = checkBox(tr("Visible"), "pdVisible", pGroup);
    m_pPDTable = combo("pdTable", CKXPalette::tableNames(), pGroup);
    m_pPDLow = percentSlider("pdLow", pGroup);
    m_pPDHigh = percentSlider("pdHigh", pGroup);
    m_pPDReversed = checkBox(tr("Reversed"), "pdReversed", pGroup);
    m_pPDLog = checkBox(tr("Log scale"), "pdLog", pGroup);
    m_pPDColorBar = new QLabel(pGroup);
    m_pPDColorBar->setObjectName(QStringLiteral("pdColorBar"));
    m_pPDColorBar->setFixedHeight(14);
    m_pPDColorBar->setScaledContents(true);

    QHBoxLayout* pFlags = new QHBoxLayout;
    pFlags->addWidget(m_pPDReversed);
    pFlags->addWidget(m_pPDLog);
    pFlags->addStretch(1);
    QFormLayout* pForm = new QFormLayout(pGroup);
    pForm->addRow(m_pPDVisible);
    pForm->addRow(tr("Colours"), m_pPDTable);
    pForm->addRow(m_pPDColorBar);
    pForm->addRow(tr("Low"), withValueLabel(m_pPDLow));
    pForm->addRow(tr("High"), withValueLabel(m_pPDHigh));
    pForm->addRow(pFlags);

    connect(m_pPDVisible, &QCheckBox::clicked, this, &CKX3DToolsPalette::onClickPDVisible);
    connect(m_pPDTable, QOverload<int>::of(&QComboBox::activated), this,
            &CKX3DToolsPalette::onPDTableActivated);
    connect(m_pPDLow, &QSlider::valueChanged, this, &CKX3DToolsPalette::onPDLowChanged);
    connect(m_pPDHigh, &QSlider::valueChanged, this, &CKX3DToolsPalette::onPDHighChanged);
    connect(m_pPDReversed, &QCheckBox::clicked, this, &CKX3DToolsPalette::onClickPDReversed);
    connect(m_pPDLog, &QCheckBox::clicked, this, &CKX3DToolsPalette::onClickPDLog);
    return pGroup;
}

QGroupBox* CKX3DToolsPalette::createOrganGroup()
{
    QGroupBox* pGroup = new QGroupBox(tr("Organs"), this);
    m_pOrgansVisible = checkBox(tr("Visible"), "organsVisible", pGroup);
    m_pOrganOpacity = percentSlider("organOpacity", pGroup);
    m_pOrganRender = combo("organRender", renderModeNames(), pGroup);
    m_pOrganShade = combo("organShade", shadeModeNames(), pGroup);
    m_pOrganList = new QListWidget(pGroup);
    m_pOrganList->setObjectName(QStringLiteral("organList"));
    m_pOrganList->setMaximumHeight(m_pOrganList->fontMetrics().height() * 10 + 8);

    QFormLayout* pForm = new QFormLayout(pGroup);
    pForm->addRow(m_pOrgansVisible);
    pForm->addRow(tr("Opacity"), withValueLabel(m_pOrganOpacity));
    pForm->addRow(tr("Render"), m_pOrganRender);
    pForm->addRow(tr("Shade"), m_pOrganShade);
    pForm->addRow(m_pOrganList);

    connect(m_pOrgansVisible, &QCheckBox::clicked, this, &CKX3DToolsPalette::onClickOrgansVisible);
    connect(m_pOrganOpacity, &QSlider::valueChanged, this,
            &CKX3DToolsPalette::onOrganOpacityChanged);
    connect(m_pOrganRender, QOverload<int>::of(&QComboBox::activated), this,
            &CKX3DToolsPalette::onOrganRenderActivated);
    connect(m_pOrganShade, QOverload<int>::of(&QComboBox::activated), this,
            &CKX3DToolsPalette::onOrganShadeActivated);
    connect(m_pOrganList, &QListWidget::itemChanged, this, &CKX3DToolsPalette::onOrganItemChanged);
    return pGroup;
}

void CKX3DToolsPalette::setSequenceWindow(CKXSequenceWindowImpl* pWindow)
{
    m_pWindow = pWindow;
    m_bShowingKeyFrame = false;
    refresh();
}

void CKX3DToolsPalette::watchSequenceWindow(CKXSequenceWindowImpl* pWindow)
{
    if (!pWindow)
    {
        return;
    }
    connect(pWindow, &CKXSSequenceWindow::signalUpdate3DToolsPalette, this,
            &CKX3DToolsPalette::onSignalUpdate3DToolsPalette);
    connect(pWindow, &CKXSequenceWindowImpl::signalMeshCheckStatusChanged, this,
            &CKX3DToolsPalette::onSignalMeshCheckStatusChanged);
    connect(pWindow->scene(), &CKXSampleScene::changed, this,
            &CKX3DToolsPalette::onSignalSceneChanged);
    if (CKXGLView* pView = pWindow->glView())
    {
        connect(pView, &CKXGLView::recordingShowing, this,
                &CKX3DToolsPalette::onSignalRecordingShowing);
    }
}

tag_s3Dcontrols CKX3DToolsPalette::displayedControls() const
{
    if (m_bShowingKeyFrame)
    {
        return m_sKeyFrame.controls;
    }
    return m_pWindow ? m_pWindow->scene()->currentControls() : tag_s3Dcontrols();
}

void CKX3DToolsPalette::onSignalUpdate3DToolsPalette(SSpKeyFrameAttributes keyFrame, bool bReset)
{
    const QObject* pSender = sender();
    if (pSender && pSender != m_pWindow)
    {
        return;
    }
    m_bShowingKeyFrame = !bReset;
    if (!bReset)
    {
        m_sKeyFrame = keyFrame;
    }
    scheduleRefresh();
}

void CKX3DToolsPalette::scheduleRefresh()
{
    const CKXGLView* pView = m_pWindow ? m_pWindow->glView() : nullptr;
    if (!pView || !pView->isKFRecording())
    {
        if (!m_pRefreshTimer->isActive())
        {
            m_pRefreshTimer->start(0);
        }
        return;
    }
    m_bRefreshAtShowing = true;
}

void CKX3DToolsPalette::onSignalRecordingShowing()
{
    if (m_bRefreshAtShowing && m_pWindow && sender() == m_pWindow->glView())
    {
        refresh();
    }
}

void CKX3DToolsPalette::onSignalSceneChanged()
{
    if (!m_pWindow || sender() != m_pWindow->scene() || m_bShowingKeyFrame)
    {
        return;
    }
    // A key frame changes many objects one by one; one refresh after them is enough.
    scheduleRefresh();
}

void CKX3DToolsPalette::onSignalMeshCheckStatusChanged()
{
    if (m_pWindow && sender() == m_pWindow)
    {
        m_bUpdating = true;
        refreshOrganList(m_pWindow->getOrgansVisibilityMap());
        m_bUpdating = false;
    }
}

void CKX3DToolsPalette::refresh()
{
    m_pRefreshTimer->stop(); // this refresh answers the requests made so far
    m_bRefreshAtShowing = false;
    ++m_nRefreshCount;
    m_bUpdating = true;
    const bool bHasWindow = !m_pWindow.isNull();
    m_pPages->setEnabled(bHasWindow);
    if (!bHasWindow)
    {
        m_pTitle->setText(tr("No sequence open"));
        m_pKeyFrameLine->clear();
        m_pOrganList->clear();
        m_bUpdating = false;
        return;
    }
    m_pTitle->setText(m_pWindow->windowTitle());
    m_pKeyFrameLine->setText(m_bShowingKeyFrame
                                 ? tr("key frame at %1").arg(m_sKeyFrame.timeStamp, 0, 'f', 1)
                                 : QString());
    const tag_s3Dcontrols c = displayedControls();

    m_pMeshVisible->setChecked(c.meshVisible);
    m_pMeshOpacity->setValue(c.meshOpacity);
    setButtonColor(m_pMeshColor, c.meshColor);
    m_pMeshRender->setCurrentIndex(firstSet(c.meshRenderVertices, c.meshRenderWireframe,
                                            c.meshRenderSolid, c.meshRenderWireSolid,
                                            kDefaultRenderMode));
    m_pMeshShade->setCurrentIndex(firstSet(c.meshShadeBox, c.meshShadeSmoothSolid, c.meshShadeLit,
                                           c.meshShadeSolidLit, kDefaultShadeMode));

    const C3DMesh* pMesh = m_pWindow->getSurfaceMesh();
    findChild<QGroupBox*>(QStringLiteral("pdGroup"))
        ->setEnabled(pMesh && pMesh->isPhotonDensityMappingValid());
    m_pPDVisible->setChecked(c.pdMap.visible());
    m_pPDTable->setCurrentIndex(qBound(0, c.pdMap.colorBarIndex, m_pPDTable->count() - 1));
    m_pPDLow->setValue(c.pdMap.sliderMin);
    m_pPDHigh->setValue(c.pdMap.sliderMax);
    m_pPDReversed->setChecked(c.pdMap.reverse());
    m_pPDLog->setChecked(c.pdMap.logScale());
    refreshColorBar(c.pdMap);

    m_pOrgansVisible->setChecked(c.organsVisible);
    m_pOrganOpacity->setValue(c.organOpacity);
    m_pOrganRender->setCurrentIndex(firstSet(c.organRenderVertices, c.organRenderWireframe,
                                             c.organRenderSolid, c.organRenderWireSolid,
                                             kDefaultRenderMode));
    m_pOrganShade->setCurrentIndex(firstSet(c.organShadeBox, c.organShadeSmoothSolid,
                                            c.organShadeLit, c.organShadeSolidLit,
                                            kDefaultShadeMode));
    // The list shows the scene's organs. A key frame overrides the visibility of those it
    // names; names the scene lacks are not listed (a key frame from another subject may carry
    // thousands), and in-between frames carry no organ map at all.
    QMap<QString, bool> mapOrgans = m_pWindow->getOrgansVisibilityMap();
    if (m_bShowingKeyFrame)
    {
        for (auto it = mapOrgans.begin(); it != mapOrgans.end(); ++it)
        {
            it.value() = m_sKeyFrame.organsVisibility.value(it.key(), it.value());
        }
    }
    refreshOrganList(mapOrgans);

    m_pSourcePanel->showControls(c);

    const bool bHasVolume = m_pWindow->scene()->getNode(kMultimodalityVolume) != nullptr;
    m_pMultimodalityVolume->setEnabled(bHasVolume);
    m_pMultimodalityVolume->setChecked(m_bShowingKeyFrame
                                           ? m_sKeyFrame.addnAttributes.multimodalityVolumeVisible
                                           : m_pWindow->isMultimodalityVolumeVisible());
    m_bUpdating = false;
}

void CKX3DToolsPalette::refreshOrganList(const QMap<QString, bool>& mapOrgans)
{
    const QStringList listNames = mapOrgans.keys();
    bool bSameNames = m_pOrganList->count() == listNames.size();
    for (int i = 0; bSameNames && i < listNames.size(); ++i)
    {
        bSameNames = m_pOrganList->item(i)->text() == listNames.at(i);
    }
    if (!bSameNames)
    {
        m_pOrganList->clear();
        for (const QString& strName : listNames)
        {
            QListWidgetItem* pItem = new QListWidgetItem(strName, m_pOrganList);
            pItem->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        }
    }
    for (int i = 0; i < listNames.size(); ++i)
    {
        m_pOrganList->item(i)->setCheckState(mapOrgans.value(listNames.at(i)) ? Qt::Checked
                                                                              : Qt::Unchecked);
    }
}

void CKX3DToolsPalette::refreshColorBar(const S3DToolsPDMapData& pdMap)
{
    const QVector<int> shown{pdMap.colorBarIndex, pdMap.sliderMin, pdMap.sliderMax,
                             pdMap.reverse() ? 1 : 0};
    if (shown == m_colorBarShown)
    {
        return;
    }
    m_colorBarShown = shown;
    // The part of the table in use, low..high, as the mesh shows it from lowest to highest.
    constexpr int kWidth = 256;
    QImage bar(kWidth, 1, QImage::Format_RGB32);
    const double dLow = qBound(0, pdMap.sliderMin, 100) / 100.0;
    const double dHigh = qBound(0, pdMap.sliderMax, 100) / 100.0;
    for (int x = 0; x < kWidth; ++x)
    {
        double t = x / double(kWidth - 1);
        if (pdMap.reverse())
        {
            t = 1.0 - t;
        }
        bar.setPixel(x, 0, CKXPalette::tableColor(pdMap.colorBarIndex, dLow + t * (dHigh - dLow)));
    }
    m_pPDColorBar->setPixmap(QPixmap::fromImage(bar));
}

void CKX3DToolsPalette::editScene(const std::function<void(CKXSampleScene*)>& fnEdit)
{
    if (m_bUpdating || !m_pWindow)
    {
        return;
    }
    // An edit is the user taking over from a key frame being shown.
    m_bShowingKeyFrame = false;
    fnEdit(m_pWindow->scene());
    m_pWindow->glView()->update();
    refresh();
}

void CKX3DToolsPalette::editControls(const std::function<void(tag_s3Dcontrols&)>& fnEdit)
{
    editScene(
        [&fnEdit](CKXSampleScene* pScene)
        {
            tag_s3Dcontrols controls = pScene->currentControls();
            fnEdit(controls);
            pScene->applyControls(controls);
        });
}

void CKX3DToolsPalette::onClickMeshVisible(bool bChecked)
{
    editControls([bChecked](tag_s3Dcontrols& c) { c.meshVisible = bChecked; });
}

void CKX3DToolsPalette::onMeshOpacityChanged(int nValue)
{
    editControls([nValue](tag_s3Dcontrols& c) { c.meshOpacity = nValue; });
}

void CKX3DToolsPalette::onClickMeshColor()
{
    const QColor color =
        QColorDialog::getColor(buttonColor(m_pMeshColor), this, tr("Subject surface colour"));
    if (color.isValid())
    {
        editControls([color](tag_s3Dcontrols& c) { c.meshColor = color; });
    }
}

void CKX3DToolsPalette::onMeshRenderActivated(int nIndex)
{
    editScene([nIndex](CKXSampleScene* pScene)
              { pScene->setRenderMode(nIndex, PLConstants::_3DMESH); });
}

void CKX3DToolsPalette::onMeshShadeActivated(int nIndex)
{
    editScene([nIndex](CKXSampleScene* pScene)
              { pScene->setShadingMode(nIndex, PLConstants::_3DMESH); });
}

void CKX3DToolsPalette::onClickPDVisible(bool bChecked)
{
    editControls([bChecked](tag_s3Dcontrols& c) { c.pdMap.visible() = bChecked; });
}

void CKX3DToolsPalette::onPDTableActivated(int nIndex)
{
    editControls([nIndex](tag_s3Dcontrols& c) { c.pdMap.colorBarIndex = nIndex; });
}

void CKX3DToolsPalette::onPDLowChanged(int nValue)
{
    editControls(
        [nValue](tag_s3Dcontrols& c)
        {
            c.pdMap.sliderMin = nValue;
            c.pdMap.sliderMax = qMax(c.pdMap.sliderMax, nValue);
        });
}

void CKX3DToolsPalette::onPDHighChanged(int nValue)
{
    editControls(
        [nValue](tag_s3Dcontrols& c)
        {
            c.pdMap.sliderMax = nValue;
            c.pdMap.sliderMin = qMin(c.pdMap.sliderMin, nValue);
        });
}

void CKX3DToolsPalette::onClickPDReversed(bool bChecked)
{
    editControls([bChecked](tag_s3Dcontrols& c) { c.pdMap.reverse() = bChecked; });
}

void CKX3DToolsPalette::onClickPDLog(bool bChecked)
{
    editControls([bChecked](tag_s3Dcontrols& c) { c.pdMap.logScale() = bChecked; });
}

void CKX3DToolsPalette::onClickOrgansVisible(bool bChecked)
{
    editControls([bChecked](tag_s3Dcontrols& c) { c.organsVisible = bChecked; });
}

void CKX3DToolsPalette::onOrganOpacityChanged(int nValue)
{
    editControls([nValue](tag_s3Dcontrols& c) { c.organOpacity = nValue; });
}

void CKX3DToolsPalette::onOrganRenderActivated(int nIndex)
{
    editScene([nIndex](CKXSampleScene* pScene)
              { pScene->setRenderMode(nIndex, PLConstants::_3DORGANS); });
}

void CKX3DToolsPalette::onOrganShadeActivated(int nIndex)
{
    editScene([nIndex](CKXSampleScene* pScene)
              { pScene->setShadingMode(nIndex, PLConstants::_3DORGANS); });
}

void CKX3DToolsPalette::onOrganItemChanged(QListWidgetItem* pItem)
{
    if (!pItem)
    {
        return;
    }
    const QString strOrgan = pItem->text();
    const bool bVisible = pItem->checkState() == Qt::Checked;
    editScene([&](CKXSampleScene* pScene) { pScene->updateMeshVisibility(strOrgan, bVisible); });
}

void CKX3DToolsPalette::onSignalSourceSelected(const QString& strSource)
{
    editControls([strSource](tag_s3Dcontrols& c) { c.name3 = strSource; });
}

void CKX3DToolsPalette::onClickMultimodalityVolume(bool bChecked)
{
    editScene([this, bChecked](CKXSampleScene*)
              { m_pWindow->setMultimodalityVolumeVisible(bChecked); });
}
