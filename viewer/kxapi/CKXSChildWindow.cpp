#include "CKXSChildWindow.h"

#include "CKXMainWindow.h"
#include "CKXSequenceWindowImpl.h"

CKXSChildWindow::CKXSChildWindow(QWidget* parent) : QWidget(parent)
{
}

CKXSChildWindow::~CKXSChildWindow() = default;

CKXSChildWindow* CKXSChildWindow::getActiveChildWnd()
{
    CKXMainWindow* pMain = CKXMainWindow::instance();
    return pMain ? pMain->activeSequenceWindow() : nullptr;
}
