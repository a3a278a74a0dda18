// The "3D Animation" tool window: one dialog for every open sequence. It keeps the key frame
// list of the bound sequence (its 3D child window), swaps per-sequence state in and out as the
// host's current sequence changes, captures key frames from the 3D view and applies them back,
// and drives presets, playback, recording and the key frame files.
//
// The dialog's code is split over several files that share this header:
//   KX3DAnimationDlg.cpp        construction, key frame list editing, sequence binding
//   KX3DAnimationDlgView.cpp    capture from and apply to the 3D view
//   KX3DAnimationDlgEngine.cpp  presets, frame generation, playback, recording
//   KX3DAnimationDlgFiles.cpp   loading and saving key frame files
//
// Units: time stamps and the time scale run 0..100; frame rate in frames per second; duration
// in whole seconds. Host pointers (child window, view, nodes) are never owned.
#ifndef KX3DANIMATIONDLG_H
#define KX3DANIMATIONDLG_H

#include "CKXSErrorHandler.h"
#include "KeyFrameRecords.h"
#include "ui_KX3DAnimationDlg.h"

#include <QDialog>
#include <QIcon>
#include <QList>
#include <QMap>
#include <QPointer>
#include <QString>

class QAction;
class QCloseEvent;
class QEvent;
class QMenu;
class CKXSChildWindow;
class CKXSSequenceDataset;

class CKX3DAnimationDlg : public QDialog, public Ui_KX3DAnimationDlg
{
    Q_OBJECT
public:
    explicit CKX3DAnimationDlg(QWidget* parent = nullptr,
                               Qt::WindowFlags flags = Qt::WindowFlags());
    ~CKX3DAnimationDlg() override;

    // Sequence binding. setSequenceWindow stores the departing sequence's state, loads the
    // arriving one's and binds pWindow (null unbinds and leaves the contents as they are).
    void setSequenceWindow(CKXSChildWindow* pWindow);
    CKXSChildWindow* getSequenceWindow() const;
    // Writes the dialog's state into the store for the bound sequence.
    void updateSeqStatus(const QString& strSeqId);
    // Shows the stored state of a sequence (defaults for one seen for the first time).
    void updateDialogStatus(const QString& strSeqId);

    // Key frame list.
    bool addNewKeyFrame(SSpKeyFrameAttributes keyFrame); // false at the key frame limit
    int getNextKeyFrameNo() const;
    void adjustTimeStamps();
    void sortKeyframesByTimeStamp();
    bool isAnimating() const { return m_bIsAnimating; }

    // The bound child window's 3D view as a record; its stamp is the time scale spin box.
    SSpKeyFrameAttributes getKeyFrameAttributesFromCurrent3DView();
    // Shows a record in the 3D view; nKeyFrameIndex is the list row it belongs to, which
    // becomes current unless bKeepListSelection.
    void setKeyFrameAttributesTo3DView(SSpKeyFrameAttributes frame, int nKeyFrameIndex,
                                       bool bKeepListSelection);

    // The key frames in list order, for frame generation and the file writer.
    int getKeyFrameCount() const;
    QString getKeyFrameName(int nRow) const; // empty outside 0..count-1
    QMap<QString, SSpKeyFrameAttributes> getKeyFrameAttributesMap() const;
    int getDuration() const;  // seconds
    int getFrameRate() const; // frames per second

    // Animation engine.
    void generateAnimationFrames();
    void playKeyFrameAnimation();
    tag_estatus recordKeyFrameAnimationQT(const QString& strFileName);
    bool shouldStopAnimation() const;

    // Raised just before the dialog announces a 3D view change of its own; the plug-in reads
    // and lowers it when the announcement arrives, so that change does not clear the dialog.
    bool isViewChangedByAnimation() const { return m_bViewChangedByAnimation; }
    void setViewChangedByAnimation(bool bChanged) { m_bViewChangedByAnimation = bChanged; }

public slots:
    void onActivateAnimationsCB();
    void onClickPlayButton();
    void onClickRecordButton();
    void onClickLoadAnimationButton();
    void onClickSaveAnimationButton();
    void onClickMoveKeyFramesUp();
    void onClickKeyFrameListBox();
    void onClickUpdateKeyframeButton();
    void onClickMoveKeyFramesDown();
    void onClickDeleteKeyFramesButton();
    void onClickAddKeyFrameButton();
    void onTimeScaleSpinBoxValueChanged(int nValue);
    void onTimeScaleSliderValueChanged(int nValue);
    void onSelectDeleteKeyframesPopup(QAction* pAction);
    void onSequenceRemoved(CKXSSequenceDataset* pSeqDataset);
    void save3DViewStates();
    void onFPSSpinBoxValueChanged(int nValue);
    void onFrameFactorSpinBoxValueChanged(int nValue);
    void onDurationSpinBoxValueChanged(int nValue);
    void clearDialogUI();

protected:
    // Closing only hides the dialog, and not at all while an animation runs.
    void closeEvent(QCloseEvent* pEvent) override;
    // A language change renames every text in place: the form's, the presets' and the delete
    // menu's.
    void changeEvent(QEvent* pEvent) override;

private:
    void init();
    // The identifier of the bound window's sequence; empty when nothing is bound.
    QString boundSequenceId() const;
    // Refreshes the store for the bound sequence (nothing when unbound).
    void refreshSeqStatus();
    QStringList keyFrameRows() const;
    void showMessage(const QString& strText);
    void translateDeleteMenu();

    bool m_bViewChangedByAnimation = false;
    bool m_bIsAnimating = false;   // playback or recording runs
    bool m_bIsRecording = false;   // recording runs
    bool m_bStopAnimation = false; // stop of the running playback or recording requested
    // The bound child window, null when unbound. Guarded: the host may close it at any time.
    QPointer<CKXSChildWindow> m_pChildWindow;
    QMap<QString, SSpKeyFrameAttributes> m_mapKeyFrames;     // bound sequence, by key frame name
    SSpKeyFrameAttributes m_sInitialViewState;               // the view before the first key frame
    QMap<QString, sSeqKeyFrameAttributes> m_mapSeqKeyFrames; // by sequence identifier
    QList<SSpKeyFrameAttributes> m_listAnimationFrames;      // generated frames, in time order
    QMenu* m_pDeleteMenu = nullptr; // "Delete Current", "Delete All" (default); owned
    // The Play / Record buttons' faces (Normal mode, Off state), decoded once rather than on
    // every click.
    QIcon m_iconPlay;
    QIcon m_iconStop;
    QIcon m_iconRecord;
};

#endif // KX3DANIMATIONDLG_H
