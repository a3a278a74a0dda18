#include "CKXSSequenceWindow.h"

#include "CKXSequenceRegistry.h"

CKXSSequenceWindow::CKXSSequenceWindow(QWidget* parent) : CKXSChildWindow(parent)
{
}

CKXSSequenceWindow::~CKXSSequenceWindow()
{
    // A subclass normally leaves the registry when it starts closing; this covers a window
    // deleted without being closed.
    CKXSequenceRegistry::remove(this);
}

CKXSSequenceWindow* CKXSSequenceWindow::getSequenceWindow(CKXSSequenceDataset* pSequence)
{
    return CKXSequenceRegistry::find(pSequence);
}
