#include "CKXAppState.h"

namespace
{
bool g_bCanClose = true;
int g_nCursorDepth = 0;
} // namespace

bool CKXAppState::canClose()
{
    return g_bCanClose;
}

void CKXAppState::setCanClose(bool bCanClose)
{
    g_bCanClose = bCanClose;
}

int CKXAppState::cursorDepth()
{
    return g_nCursorDepth;
}

void CKXAppState::setCursorDepth(int nDepth)
{
    g_nCursorDepth = nDepth < 0 ? 0 : nDepth;
}
