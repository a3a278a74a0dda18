// The viewer's main window: the workspace of sequence windows, the File, View and Tools menus
// and the 3D tools palette. It announces workspace changes to tool plug-ins through its
// signals (the plug-in manager connects them to each plug-in's slots):
//   - a sequence window is opened:   signalSequenceAdded, then signalSequenceChanged once it
//                                    becomes the active sub-window;
//   - another sub-window activated:  signalSequenceChanged;
//   - a sequence window closes:      signalSequenceRemoved while the window still exists;
//     the last one closes:           signalDatasetChanged(null) as well;
//   - a scene's content changed:     signalPlugin3DViewChanged, synchronously.
// Tab changes are announced by each sequence window's own updatePluginPalette signal, which
// plug-ins connect themselves when told that the sequence was added.
#ifndef CKXMAINWINDOW_H
#define CKXMAINWINDOW_H

#include <QIcon>
#include <QList>
#include <QMainWindow>
#include <QPointer>
#include <QRect>
#include <QSize>

#include "CKXSceneFile.h"

class CKX3DToolsPalette;
class CKXDataMenu;
class CKXSDataset;
class CKXSampleScene;
class CKXSSequenceDataset;
class CKXSequenceWindowImpl;
class QAction;
class QActionGroup;
class QDockWidget;
class QMdiArea;
class QMdiSubWindow;
class QMenu;

class CKXMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit CKXMainWindow(QWidget* pParent = nullptr);
    ~CKXMainWindow() override;

    // The one main window of the process (the most recently constructed alive one), or null.
    static CKXMainWindow* instance();
    // The viewer's icon (drawn, so the viewer needs no resource files).
    static QIcon appIcon();

    // Opens the two sample sequences and tiles them.
    void openDefaultSequences();
    // Opens one more sample sequence (the subjects alternate) and makes it active.
    CKXSequenceWindowImpl* openSampleSequence();
    // Opens a sequence window on the scene (taken over), titled after strName, and makes it
    // active; strSubject says what the scene shows.
    CKXSequenceWindowImpl* openSequence(CKXSampleScene* pScene, const QString& strName,
                                        const QString& strSubject);
    // Reads the files into one dataset and opens it as a new sequence window, showing the
    // host's progress with Abort meanwhile. Null with strError (naming the file) when it cannot
    // be read; whatever was open stays as it was then.
    CKXSequenceWindowImpl* openDataset(const QList<SKXOpenRequest>& listRequests,
                                       QString& strError);
    // Closes the window as its close button would; false when it refused (recording).
    bool closeSequence(CKXSequenceWindowImpl* pWindow);

    QList<CKXSequenceWindowImpl*> sequenceWindows() const;
    // The window of the current sub-window, or null.
    CKXSequenceWindowImpl* activeSequenceWindow() const;
    void activateSequenceWindow(CKXSequenceWindowImpl* pWindow);
    void tileSequenceWindows();

    QMdiArea* workspace() const { return m_pWorkspace; }
    CKX3DToolsPalette* toolsPalette() const { return m_pPalette; }
    CKXDataMenu* dataMenu() const { return m_pDataMenu; }
    QDockWidget* toolsDock() const { return m_pPaletteDock; }
    CKXSDataset* dataset() const { return m_pDataset; }
    // The menu of a plug-in menu identifier; the Tools menu for 0 and for unknown identifiers.
    QMenu* pluginMenu(int nMenu) const;
    // Puts a tool's action into its menu, before the entry titled strBefore when there is one.
    void addPluginAction(QAction* pAction, int nMenu, const QString& strBefore);
    // Widgets tool plug-ins handed over (their tool windows).
    QList<QWidget*> adoptedWidgets() const;

    // The size of every sequence window's 3D view in device pixels, for recordings of a chosen
    // size (View > 3D View Size); an invalid size lets each view fill its window. Windows
    // opened later take it too. A size outside CKXViewSizeDialog's limits, or beyond what this
    // system's OpenGL draws, is refused (false, with the reason in strError) and changes
    // nothing. Remembered in the user's settings unless automation is on.
    bool setViewPixelSize(const QSize& size, QString& strError);
    QSize viewPixelSize() const { return m_viewPixelSize; }
    // The entries of View > 3D View Size, in menu order; the checked one is the current size.
    QList<QAction*> viewSizeActions() const;

public slots:
    void onClickOpenSequence();
    void onClickCloseSequence();
    void onClickReloadScene();
    void onClickResetCamera();
    void onClickTileWindows();
    // View > 3D View Size > Custom...: asks for a size and applies it.
    void onClickCustomViewSize();
    // From a tool plug-in: keep the widget as a tool window beside the workspace.
    void onSignalAddWidgetToWorkspace(QWidget* pWidget);
    // From a tool plug-in: enable or disable its action.
    void onSignalUpdateToolPluginValidity(QAction* pAction, bool bValid, bool bChecked);

signals:
    void signalDatasetChanged(CKXSDataset* pDataset);
    void signalDatasetRemoved(CKXSDataset* pDataset);
    void signalSequenceChanged(CKXSSequenceDataset* pSequence);
    void signalSequenceAdded(CKXSSequenceDataset* pSequence);
    void signalSequenceRemoved(CKXSSequenceDataset* pSequence);
    void signalPlugin3DViewChanged(bool bClearAnalysisResults);

protected:
    void closeEvent(QCloseEvent* pEvent) override;
    // Files dropped anywhere on the window open as one dataset.
    void dragEnterEvent(QDragEnterEvent* pEvent) override;
    void dropEvent(QDropEvent* pEvent) override;
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;

private slots:
    void onSignalSubWindowActivated(QMdiSubWindow* pSubWindow);
    void onSignalSequenceClosing(CKXSequenceWindowImpl* pWindow);

private:
    void createMenus();
    void createViewSizeMenu(QMenu* pViewMenu);
    void checkViewSizeAction();
    // Applies a size the user chose, or tells why it cannot be.
    void chooseViewPixelSize(const QSize& size);
    // The size kept in the settings, applied at start-up; the reason it was not, or empty.
    QString applyStoredViewPixelSize();
    void closeAllSequences();
    bool isStillTiled() const;

    QMdiArea* m_pWorkspace;
    CKX3DToolsPalette* m_pPalette;
    QDockWidget* m_pPaletteDock;
    CKXSDataset* m_pDataset; // the sample study; owned
    QMenu* m_pToolsMenu = nullptr;
    CKXDataMenu* m_pDataMenu = nullptr;
    QAction* m_pCloseAction = nullptr;
    QAction* m_pReloadAction = nullptr;
    QAction* m_pResetCameraAction = nullptr;
    QActionGroup* m_pViewSizeGroup = nullptr;
    QAction* m_pCustomViewSizeAction = nullptr;
    QSize m_viewPixelSize;                                // invalid: each view fills its window
    QList<QPointer<CKXSequenceWindowImpl>> m_listWindows; // open, in opening order
    QPointer<CKXSequenceWindowImpl> m_pNotifiedWindow;    // last announced as changed
    QList<QPointer<QWidget>> m_listAdopted;
    QList<QRect> m_listTiledGeometry; // sub-window geometries right after the last tiling
    int m_nSequenceCounter = 0;
    bool m_bClosingAll = false; // every sequence is being closed: no activation is announced
};

#endif // CKXMAINWINDOW_H
