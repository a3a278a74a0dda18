#include "CKXMainWindow.h"

#include "CKX3DToolsPalette.h"
#include "CKXAppState.h"
#include "CKXDataMenu.h"
#include "CKXDatasetLoader.h"
#include "CKXGLView.h"
#include "CKXProcess.h"
#include "CKXSDataset.h"
#include "CKXSMessageBox.h"
#include "CKXSampleScene.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXUtilityFns.h"
#include "CKXViewSizeDialog.h"
#include "KXAutomation.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QRegularExpression>
#include <QScrollArea>
#include <QSettings>
#include <QStatusBar>

#include <cmath>
#include <limits>

namespace
{
CKXMainWindow* g_pInstance = nullptr;
const char* const kPlaceholderProperty = "kxToolsPlaceholder";
const char* const kViewSizeKey = "viewPixelSize";
const char* const kViewSizeProperty = "kxViewPixelSize";

// "1920x1080" for a size, "fit" for none: how the choice is kept in the settings.
QString viewSizeText(const QSize& size)
{
    return size.isValid() ? QStringLiteral("%1x%2").arg(size.width()).arg(size.height())
                          : QStringLiteral("fit");
}

QSize viewSizeOfText(const QString& strText)
{
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$")).match(strText);
    return match.hasMatch() ? QSize(match.captured(1).toInt(), match.captured(2).toInt()) : QSize();
}
} // namespace

CKXMainWindow::CKXMainWindow(QWidget* pParent)
    : QMainWindow(pParent), m_pWorkspace(new QMdiArea(this)), m_pPalette(new CKX3DToolsPalette),
      m_pPaletteDock(new QDockWidget(tr("3D Tools"), this)),
      m_pDataset(new CKXSDataset(tr("Sample study")))
{
    g_pInstance = this;
    setObjectName(QStringLiteral("KXMainWindow"));
    setWindowTitle(CKXUtilityFns::getAppName());
    setWindowIcon(appIcon());
    setAcceptDrops(true);

    m_pWorkspace->setObjectName(QStringLiteral("Workspace"));
    m_pWorkspace->setBackground(QColor(0x3c, 0x41, 0x48));
    setCentralWidget(m_pWorkspace);
    m_pWorkspace->installEventFilter(this);
    connect(m_pWorkspace, &QMdiArea::subWindowActivated, this,
            &CKXMainWindow::onSignalSubWindowActivated);

    // The palette is taller than a small screen: it scrolls rather than being cut off.
    QScrollArea* pScroll = new QScrollArea;
    pScroll->setWidget(m_pPalette);
    pScroll->setWidgetResizable(true);
    pScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    pScroll->setMinimumWidth(m_pPalette->sizeHint().width() + 24);
    m_pPaletteDock->setObjectName(QStringLiteral("ToolsDock"));
    m_pPaletteDock->setWidget(pScroll);
    m_pPaletteDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable |
                                QDockWidget::DockWidgetClosable);
    addDockWidget(Qt::RightDockWidgetArea, m_pPaletteDock);

    createMenus();
    const QString strRefused = CKXAutomation::isEnabled() ? QString() : applyStoredViewPixelSize();
    statusBar()->showMessage(
        strRefused.isEmpty()
            ? tr("3D view: left drag rotates, right drag pans, the wheel moves the camera.")
            : strRefused);
}

QString CKXMainWindow::applyStoredViewPixelSize()
{
    // A size edited by hand, or kept on a system whose OpenGL draws larger views, goes through
    // the menu's checks before any view is made that size; the setting itself stays as it is.
    const QString strStored = QSettings().value(kViewSizeKey).toString();
    const QSize size = viewSizeOfText(strStored);
    QString strError;
    if (size.isValid())
    {
        if (setViewPixelSize(size, strError))
            return QString();
    }
    else if (strStored.isEmpty() || strStored == viewSizeText(QSize()))
        return QString();
    else
        strError = tr("\"%1\" is no size.").arg(strStored);
    return tr("3D views fill their windows: the size kept in the settings is not used. %1")
        .arg(strError);
}

CKXMainWindow::~CKXMainWindow()
{
    // Sequence windows go first, while this object can still announce their removal.
    m_bClosingAll = true;
    const QList<QPointer<CKXSequenceWindowImpl>> listWindows = m_listWindows;
    for (const QPointer<CKXSequenceWindowImpl>& pWindow : listWindows)
    {
        if (pWindow)
        {
            QWidget* pSub = pWindow->parentWidget();
            delete (pSub ? pSub : pWindow.data());
        }
    }
    m_pPalette->setSequenceWindow(nullptr);
    emit signalDatasetRemoved(m_pDataset);
    delete m_pDataset;
    m_pDataset = nullptr;
    if (g_pInstance == this)
    {
        g_pInstance = nullptr;
    }
}

CKXMainWindow* CKXMainWindow::instance()
{
    return g_pInstance;
}

QIcon CKXMainWindow::appIcon()
{
    // A lit sphere with a glowing spot: a subject with a light source.
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QRadialGradient body(QPointF(12, 11), 17);
    body.setColorAt(0.0, QColor(0xf0, 0xe6, 0xdc));
    body.setColorAt(1.0, QColor(0x6a, 0x5e, 0x58));
    painter.setPen(Qt::NoPen);
    painter.setBrush(body);
    painter.drawEllipse(QRectF(2, 2, 28, 28));
    QRadialGradient spot(QPointF(19, 18), 7);
    spot.setColorAt(0.0, QColor(0xff, 0xf0, 0x40));
    spot.setColorAt(0.6, QColor(0xff, 0x50, 0x20, 200));
    spot.setColorAt(1.0, QColor(0xff, 0x50, 0x20, 0));
    painter.setBrush(spot);
    painter.drawEllipse(QRectF(12, 11, 14, 14));
    return QIcon(pixmap);
}

void CKXMainWindow::createMenus()
{
    QMenu* pFile = menuBar()->addMenu(tr("&File"));
    QAction* pOpenSample =
        pFile->addAction(tr("Open &Sample Sequence"), this, &CKXMainWindow::onClickOpenSequence);
    m_pDataMenu = new CKXDataMenu(this, pFile, pOpenSample);
    m_pCloseAction =
        pFile->addAction(tr("&Close Sequence"), this, &CKXMainWindow::onClickCloseSequence);
    m_pCloseAction->setShortcut(QKeySequence::Close);
    pFile->addSeparator();
    QAction* pQuit = pFile->addAction(tr("&Quit"), this, &QWidget::close);
    pQuit->setShortcut(QKeySequence::Quit);

    QMenu* pView = menuBar()->addMenu(tr("&View"));
    m_pResetCameraAction =
        pView->addAction(tr("Reset &Camera"), this, &CKXMainWindow::onClickResetCamera);
    m_pReloadAction =
        pView->addAction(tr("&Reload Scene"), this, &CKXMainWindow::onClickReloadScene);
    m_pReloadAction->setShortcut(QKeySequence::Refresh);
    pView->addSeparator();
    pView->addAction(tr("&Tile Windows"), this, &CKXMainWindow::onClickTileWindows);
    pView->addAction(m_pPaletteDock->toggleViewAction());
    pView->addSeparator();
    createViewSizeMenu(pView);

    m_pToolsMenu = menuBar()->addMenu(tr("&Tools"));
    QAction* pPlaceholder = m_pToolsMenu->addAction(tr("(no tools loaded)"));
    pPlaceholder->setEnabled(false);
    pPlaceholder->setProperty(kPlaceholderProperty, true);

    QMenu* pHelp = menuBar()->addMenu(tr("&Help"));
    pHelp->addAction(
        tr("&About"), this,
        [this]()
        {
            CKXSMessageBox::information(
                this, CKXUtilityFns::getAppName(),
                tr("%1\nA 3D viewer for surface meshes, photon density maps, organs and "
                   "reconstructed light sources, with tool plug-ins.")
                    .arg(CKXUtilityFns::getAppName()));
        });
}

void CKXMainWindow::createViewSizeMenu(QMenu* pViewMenu)
{
    QMenu* pSizes = pViewMenu->addMenu(tr("3D View &Size"));
    pSizes->setObjectName(QStringLiteral("ViewSizeMenu"));
    m_pViewSizeGroup = new QActionGroup(this);
    m_pViewSizeGroup->setExclusive(true);
    const std::pair<QString, QSize> kSizes[] = {{tr("&Fit Window"), QSize()},
                                                {tr("1280x720"), QSize(1280, 720)},
                                                {tr("1920x1080"), QSize(1920, 1080)},
                                                {tr("3840x2160"), QSize(3840, 2160)}};
    for (const auto& entry : kSizes)
    {
        const QSize size = entry.second;
        QAction* pAction = pSizes->addAction(entry.first);
        pAction->setCheckable(true);
        pAction->setProperty(kViewSizeProperty, size);
        m_pViewSizeGroup->addAction(pAction);
        connect(pAction, &QAction::triggered, this, [this, size]() { chooseViewPixelSize(size); });
    }
    m_pCustomViewSizeAction = pSizes->addAction(tr("&Custom..."));
    m_pCustomViewSizeAction->setCheckable(true);
    m_pViewSizeGroup->addAction(m_pCustomViewSizeAction);
    connect(m_pCustomViewSizeAction, &QAction::triggered, this,
            &CKXMainWindow::onClickCustomViewSize);
    checkViewSizeAction();
}

QList<QAction*> CKXMainWindow::viewSizeActions() const
{
    return m_pViewSizeGroup ? m_pViewSizeGroup->actions() : QList<QAction*>();
}

void CKXMainWindow::checkViewSizeAction()
{
    if (!m_pViewSizeGroup)
        return;
    QAction* pChecked = m_pCustomViewSizeAction;
    for (QAction* pAction : m_pViewSizeGroup->actions())
    {
        if (pAction != m_pCustomViewSizeAction &&
            pAction->property(kViewSizeProperty).toSize() == m_viewPixelSize)
            pChecked = pAction;
    }
    pChecked->setChecked(true);
    m_pCustomViewSizeAction->setText(
        pChecked == m_pCustomViewSizeAction
            ? tr("&Custom (%1 x %2)...").arg(m_viewPixelSize.width()).arg(m_viewPixelSize.height())
            : tr("&Custom..."));
}

bool CKXMainWindow::setViewPixelSize(const QSize& size, QString& strError)
{
    const QSize wanted = size.isValid() ? size : QSize();
    if (wanted.isValid() && !CKXViewSizeDialog::isAcceptable(wanted, strError))
    {
        checkViewSizeAction();
        return false;
    }
    // Before any view exists (at start-up) only the system's limit is known.
    QList<QSize> listLimits;
    if (wanted.isValid())
        listLimits << CKXGLView::systemFramebufferLimit();
    for (CKXSequenceWindowImpl* pWindow : sequenceWindows())
        listLimits << pWindow->glView()->maxFramebufferSize();
    for (const QSize& limit : listLimits)
    {
        if (wanted.isValid() && limit.isValid() &&
            (wanted.width() > limit.width() || wanted.height() > limit.height()))
        {
            strError = tr("The 3D view cannot be %1 x %2 pixels: this system's OpenGL draws at "
                          "most %3 x %4.")
                           .arg(wanted.width())
                           .arg(wanted.height())
                           .arg(limit.width())
                           .arg(limit.height());
            checkViewSizeAction();
            return false;
        }
    }
    strError.clear();
    m_viewPixelSize = wanted;
    for (CKXSequenceWindowImpl* pWindow : sequenceWindows())
        pWindow->setViewPixelSize(m_viewPixelSize);
    checkViewSizeAction();
    if (!CKXAutomation::isEnabled())
        QSettings().setValue(kViewSizeKey, viewSizeText(m_viewPixelSize));
    if (m_viewPixelSize.isValid())
        statusBar()->showMessage(tr("3D views are %1 x %2 pixels; a larger view than its "
                                    "window scrolls.")
                                     .arg(m_viewPixelSize.width())
                                     .arg(m_viewPixelSize.height()),
                                 6000);
    else
        statusBar()->showMessage(tr("3D views fill their windows."), 4000);
    return true;
}

void CKXMainWindow::onClickCustomViewSize()
{
    CKXViewSizeDialog dialog(m_viewPixelSize, this);
    if (dialog.exec() != QDialog::Accepted)
    {
        checkViewSizeAction(); // the menu shows the size still in force
        return;
    }
    chooseViewPixelSize(dialog.pixelSize());
}

void CKXMainWindow::chooseViewPixelSize(const QSize& size)
{
    QString strError;
    if (!setViewPixelSize(size, strError))
        CKXSMessageBox::information(this, CKXUtilityFns::getAppName(), strError, QString(),
                                    QString(), QString(), 0, -1);
}

void CKXMainWindow::openDefaultSequences()
{
    openSampleSequence();
    openSampleSequence();
    if (!m_listWindows.isEmpty())
    {
        activateSequenceWindow(m_listWindows.first());
    }
    tileSequenceWindows();
}

CKXSequenceWindowImpl* CKXMainWindow::openSampleSequence()
{
    const int nVariant = m_nSequenceCounter % 2;
    return openSequence(new CKXSampleScene(nVariant), tr("Subject %1").arg(QChar('A' + nVariant)),
                        tr("sample subject %1").arg(QChar('A' + nVariant)));
}

CKXSequenceWindowImpl* CKXMainWindow::openSequence(CKXSampleScene* pScene, const QString& strName,
                                                   const QString& strSubject)
{
    const bool bWasTiled = !m_listWindows.isEmpty() && isStillTiled();
    ++m_nSequenceCounter;
    const QString strID =
        QStringLiteral("KX-SEQ-%1").arg(m_nSequenceCounter, 4, 10, QLatin1Char('0'));
    const QString strTitle = tr("%1, sequence %2").arg(strName).arg(m_nSequenceCounter);
    CKXSSequenceDataset* pSequence = new CKXSSequenceDataset(strID, strTitle);
    CKXSequenceWindowImpl* pWindow =
        new CKXSequenceWindowImpl(pSequence, m_pDataset, pScene, strSubject);
    pWindow->setViewPixelSize(m_viewPixelSize);

    // Synchronous: a plug-in must see a content change before the next one happens.
    connect(pWindow, &CKXSequenceWindowImpl::signal3DViewChanged, this,
            &CKXMainWindow::signalPlugin3DViewChanged, Qt::DirectConnection);
    connect(pWindow, &CKXSequenceWindowImpl::signalClosing, this,
            &CKXMainWindow::onSignalSequenceClosing);
    m_pPalette->watchSequenceWindow(pWindow);
    m_listWindows.append(pWindow);

    emit signalSequenceAdded(pSequence);

    QMdiSubWindow* pSub = m_pWorkspace->addSubWindow(pWindow);
    pSub->setAttribute(Qt::WA_DeleteOnClose);
    pSub->setWindowTitle(strTitle);
    pSub->setWindowIcon(windowIcon());
    pSub->resize(640, 480);
    pSub->show();
    activateSequenceWindow(pWindow);
    if (bWasTiled)
    {
        tileSequenceWindows();
    }
    return pWindow;
}

CKXSequenceWindowImpl* CKXMainWindow::openDataset(const QList<SKXOpenRequest>& listRequests,
                                                  QString& strError)
{
    // Loading runs here, on the GUI thread, with the progress display's Abort; input to the
    // main window is held meanwhile so that nothing else is opened or closed half-way.
    constexpr int kLoadProcess = 2048;
    CKXProcess::startLongProcess(100, kLoadProcess, true, tr("Aborting..."));
    CKXProcess::disableUserInteraction(true);
    const QString strFirst = QFileInfo(listRequests.value(0).path).fileName();
    CKXProcess::setProcessMessage(tr("Opening %1").arg(strFirst), 0);
    int nLastStep = -1;
    SKXSceneDescription description;
    const bool bLoaded = CKXDatasetLoader::load(
        listRequests, description, strError,
        [&](double dFraction)
        {
            const int nStep = static_cast<int>(dFraction * 100.0);
            if (nStep != nLastStep)
            {
                nLastStep = nStep;
                CKXProcess::setProcessMessage(tr("Opening %1").arg(strFirst), nStep);
                QCoreApplication::processEvents();
            }
            return !CKXProcess::isProcessAborted();
        });
    CKXProcess::disableUserInteraction(false);
    CKXProcess::endLongProcess(kLoadProcess);
    if (!bLoaded)
    {
        return nullptr;
    }
    QStringList listFiles;
    for (const SKXOpenRequest& request : listRequests)
        listFiles << QFileInfo(request.path).fileName();
    CKXSequenceWindowImpl* pWindow = openSequence(
        new CKXSampleScene(description), description.name.isEmpty() ? strFirst : description.name,
        listFiles.join(QStringLiteral(", ")));
    pWindow->setOpenRequests(listRequests);
    return pWindow;
}

bool CKXMainWindow::closeSequence(CKXSequenceWindowImpl* pWindow)
{
    if (!pWindow || !m_listWindows.contains(pWindow))
    {
        return false;
    }
    QWidget* pSub = pWindow->parentWidget();
    return pSub ? pSub->close() : pWindow->close();
}

QList<CKXSequenceWindowImpl*> CKXMainWindow::sequenceWindows() const
{
    QList<CKXSequenceWindowImpl*> list;
    for (const QPointer<CKXSequenceWindowImpl>& pWindow : m_listWindows)
    {
        if (pWindow)
        {
            list.append(pWindow);
        }
    }
    return list;
}

CKXSequenceWindowImpl* CKXMainWindow::activeSequenceWindow() const
{
    // currentSubWindow() keeps its answer while a tool window has the focus, when
    // activeSubWindow() is null.
    QMdiSubWindow* pSub = m_pWorkspace->currentSubWindow();
    CKXSequenceWindowImpl* pWindow =
        pSub ? qobject_cast<CKXSequenceWindowImpl*>(pSub->widget()) : nullptr;
    return pWindow && m_listWindows.contains(pWindow) ? pWindow : nullptr;
}

void CKXMainWindow::activateSequenceWindow(CKXSequenceWindowImpl* pWindow)
{
    QMdiSubWindow* pSub = pWindow ? qobject_cast<QMdiSubWindow*>(pWindow->parentWidget()) : nullptr;
    if (!pSub)
    {
        return;
    }
    m_pWorkspace->setActiveSubWindow(pSub);
    // The workspace activates nothing while the main window is hidden; announce it anyway so a
    // plug-in always knows the current sequence.
    onSignalSubWindowActivated(pSub);
}

void CKXMainWindow::tileSequenceWindows()
{
    // A grid whose cells come closest to a 16:10 landscape view: the subject lies along the
    // view's width, so tall narrow views would cut it off.
    constexpr double kCellAspect = 1.6;
    QList<QMdiSubWindow*> listSubs;
    for (QMdiSubWindow* pSub : m_pWorkspace->subWindowList(QMdiArea::CreationOrder))
    {
        if (pSub->isVisible() && !pSub->isMinimized())
        {
            listSubs.append(pSub);
        }
    }
    const QRect rcArea = m_pWorkspace->viewport()->rect();
    const int nCount = listSubs.size();
    if (nCount == 0 || rcArea.isEmpty())
    {
        return;
    }
    int nColumns = 1;
    double dBest = std::numeric_limits<double>::max();
    for (int nCandidate = 1; nCandidate <= nCount; ++nCandidate)
    {
        const int nRows = (nCount + nCandidate - 1) / nCandidate;
        const double dAspect = (rcArea.width() / double(nCandidate)) / (rcArea.height() / nRows);
        const double dDistance = std::abs(std::log(dAspect / kCellAspect));
        if (dDistance < dBest)
        {
            dBest = dDistance;
            nColumns = nCandidate;
        }
    }
    const int nRows = (nCount + nColumns - 1) / nColumns;
    const int nHeight = rcArea.height() / nRows;
    for (int i = 0; i < nCount; ++i)
    {
        const int nRow = i / nColumns;
        // The last row may hold fewer windows; they share its whole width.
        const int nInRow = qMin(nColumns, nCount - nRow * nColumns);
        const int nWidth = rcArea.width() / nInRow;
        QMdiSubWindow* pSub = listSubs.at(i);
        if (pSub->isMaximized())
        {
            pSub->showNormal();
        }
        pSub->setGeometry((i % nColumns) * nWidth, nRow * nHeight, nWidth, nHeight);
    }
    m_listTiledGeometry.clear();
    for (QMdiSubWindow* pSub : m_pWorkspace->subWindowList())
    {
        m_listTiledGeometry.append(pSub->geometry());
    }
}

bool CKXMainWindow::isStillTiled() const
{
    const QList<QMdiSubWindow*> list = m_pWorkspace->subWindowList();
    if (list.size() != m_listTiledGeometry.size())
    {
        return false;
    }
    for (int i = 0; i < list.size(); ++i)
    {
        if (list.at(i)->geometry() != m_listTiledGeometry.at(i))
        {
            return false;
        }
    }
    return true;
}

void CKXMainWindow::dragEnterEvent(QDragEnterEvent* pEvent)
{
    if (!CKXDataMenu::requestsOf(pEvent->mimeData()).isEmpty())
        pEvent->acceptProposedAction();
}

void CKXMainWindow::dropEvent(QDropEvent* pEvent)
{
    const QList<SKXOpenRequest> listRequests = CKXDataMenu::requestsOf(pEvent->mimeData());
    if (listRequests.isEmpty())
        return;
    pEvent->acceptProposedAction();
    // Opened once the drop has finished: the source application is not kept waiting.
    QMetaObject::invokeMethod(
        this, [this, listRequests]() { m_pDataMenu->open(listRequests); }, Qt::QueuedConnection);
}

bool CKXMainWindow::eventFilter(QObject* pWatched, QEvent* pEvent)
{
    // Keep the tiling when the window is resized, unless the user arranged the windows.
    if (pWatched == m_pWorkspace && pEvent->type() == QEvent::Resize &&
        !m_pWorkspace->subWindowList().isEmpty() && isStillTiled())
    {
        QMetaObject::invokeMethod(this, &CKXMainWindow::tileSequenceWindows, Qt::QueuedConnection);
    }
    return QMainWindow::eventFilter(pWatched, pEvent);
}

QMenu* CKXMainWindow::pluginMenu(int /*nMenu*/) const
{
    // This viewer has a single tools menu; every other identifier lands there too.
    return m_pToolsMenu;
}

void CKXMainWindow::addPluginAction(QAction* pAction, int nMenu, const QString& strBefore)
{
    QMenu* pMenu = pluginMenu(nMenu);
    if (!pAction || !pMenu)
    {
        return;
    }
    QAction* pBefore = nullptr;
    for (QAction* pExisting : pMenu->actions())
    {
        if (pExisting->property(kPlaceholderProperty).toBool())
        {
            pMenu->removeAction(pExisting);
            pExisting->deleteLater();
            continue;
        }
        QString strText = pExisting->text();
        strText.remove(QLatin1Char('&'));
        if (!strBefore.isEmpty() && !pBefore &&
            strText.compare(strBefore, Qt::CaseInsensitive) == 0)
        {
            pBefore = pExisting;
        }
    }
    pMenu->insertAction(pBefore, pAction);
}

QList<QWidget*> CKXMainWindow::adoptedWidgets() const
{
    QList<QWidget*> list;
    for (const QPointer<QWidget>& pWidget : m_listAdopted)
    {
        if (pWidget)
        {
            list.append(pWidget);
        }
    }
    return list;
}

void CKXMainWindow::onClickOpenSequence()
{
    openSampleSequence();
}

void CKXMainWindow::onClickCloseSequence()
{
    closeSequence(activeSequenceWindow());
}

void CKXMainWindow::onClickReloadScene()
{
    if (CKXSequenceWindowImpl* pWindow = activeSequenceWindow())
    {
        pWindow->reloadScene();
        statusBar()->showMessage(tr("Scene of %1 reloaded.").arg(pWindow->windowTitle()), 4000);
    }
}

void CKXMainWindow::onClickResetCamera()
{
    if (CKXSequenceWindowImpl* pWindow = activeSequenceWindow())
    {
        pWindow->onReset3DView();
    }
}

void CKXMainWindow::onClickTileWindows()
{
    tileSequenceWindows();
}

void CKXMainWindow::onSignalAddWidgetToWorkspace(QWidget* pWidget)
{
    if (!pWidget)
    {
        return;
    }
    // A tool window of the main window: it stays on top of it and beside the 3D views instead
    // of taking a place among the sequence windows.
    if (pWidget->parentWidget() != this)
    {
        Qt::WindowFlags flags = pWidget->windowFlags();
        if (!(flags & Qt::Window))
        {
            flags |= Qt::Tool;
        }
        const bool bVisible = pWidget->isVisible();
        pWidget->setParent(this, flags);
        if (bVisible)
        {
            pWidget->show();
        }
    }
    if (!m_listAdopted.contains(pWidget))
    {
        m_listAdopted.append(pWidget);
    }
}

void CKXMainWindow::onSignalUpdateToolPluginValidity(QAction* pAction, bool bValid, bool bChecked)
{
    if (!pAction)
    {
        return;
    }
    pAction->setEnabled(bValid);
    if (pAction->isCheckable())
    {
        pAction->setChecked(bChecked);
    }
}

void CKXMainWindow::onSignalSubWindowActivated(QMdiSubWindow* pSubWindow)
{
    // Null means the workspace lost the focus (or its last window): the current sequence stays.
    CKXSequenceWindowImpl* pWindow =
        pSubWindow ? qobject_cast<CKXSequenceWindowImpl*>(pSubWindow->widget()) : nullptr;
    if (m_bClosingAll || !pWindow || !m_listWindows.contains(pWindow) ||
        pWindow == m_pNotifiedWindow)
    {
        return;
    }
    m_pNotifiedWindow = pWindow;
    m_pPalette->setSequenceWindow(pWindow);
    emit signalSequenceChanged(pWindow->getSequenceDataset());
}

void CKXMainWindow::onSignalSequenceClosing(CKXSequenceWindowImpl* pWindow)
{
    emit signalSequenceRemoved(pWindow->getSequenceDataset());
    m_listWindows.removeAll(pWindow);
    if (m_pNotifiedWindow == pWindow)
    {
        m_pNotifiedWindow = nullptr;
    }
    if (m_pPalette->sequenceWindow() == pWindow)
    {
        m_pPalette->setSequenceWindow(nullptr);
    }
    if (sequenceWindows().isEmpty())
    {
        emit signalDatasetChanged(nullptr);
    }
}

void CKXMainWindow::closeAllSequences()
{
    // Each close would activate the next window; announcing those as sequence changes would
    // only make tools bind to sequences that are about to go as well.
    m_bClosingAll = true;
    for (CKXSequenceWindowImpl* pWindow : sequenceWindows())
    {
        closeSequence(pWindow);
    }
    m_bClosingAll = false;
    onSignalSubWindowActivated(m_pWorkspace->currentSubWindow());
}

void CKXMainWindow::closeEvent(QCloseEvent* pEvent)
{
    if (!CKXAppState::canClose())
    {
        statusBar()->showMessage(tr("A recording is being written; quit when it has finished."),
                                 6000);
        pEvent->ignore();
        return;
    }
    closeAllSequences();
    if (!sequenceWindows().isEmpty())
    {
        pEvent->ignore();
        return;
    }
    // Tool windows are children of this window; close them with it.
    for (QWidget* pWidget : adoptedWidgets())
    {
        pWidget->hide();
    }
    pEvent->accept();
}
