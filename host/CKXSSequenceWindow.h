// The window that shows one sequence in tabs ("3D View" among them).
#ifndef CKXSSEQUENCEWINDOW_H
#define CKXSSEQUENCEWINDOW_H

#include "CKXSChildWindow.h"
#include "KeyFrameRecords.h"

#include <QMap>
#include <QString>

class CKXSSequenceWindow : public CKXSChildWindow
{
    Q_OBJECT
public:
    explicit CKXSSequenceWindow(QWidget* parent = nullptr);
    ~CKXSSequenceWindow() override;

    // The window showing the sequence, or null when none does.
    static CKXSSequenceWindow* getSequenceWindow(CKXSSequenceDataset* pSequence);

    // Title of the current tab.
    virtual QString getCurrentTabName() const = 0;
    // Organ name -> shown, for every organ of the scene.
    virtual QMap<QString, bool> getOrgansVisibilityMap() const = 0;

signals:
    // The tab (palette) named here became current.
    void updatePluginPalette(QString name);
    // Show the key frame's display settings in the 3D tools palette. With bReset true the
    // palette shows the scene's own state again (the key frame is then ignored).
    void signalUpdate3DToolsPalette(SSpKeyFrameAttributes keyFrame, bool bReset);
};

#endif // CKXSSEQUENCEWINDOW_H
