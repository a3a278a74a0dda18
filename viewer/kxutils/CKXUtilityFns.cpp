#include "CKXUtilityFns.h"

#include "CKXAppState.h"
#include "PLConstants.h"

#include <QApplication>

QString CKXUtilityFns::getAppName()
{
    return PLConstants::DEFAULT_TAG_NAME + QStringLiteral(" 3D Viewer");
}

void CKXUtilityFns::setCursor(const QCursor& cursor)
{
    if (!qApp)
    {
        return;
    }
    QApplication::setOverrideCursor(cursor);
    CKXAppState::setCursorDepth(CKXAppState::cursorDepth() + 1);
}

void CKXUtilityFns::restoreCursor()
{
    // Tools restore more often than they set (an inner and an outer clean-up path both restore);
    // popping only what was pushed here keeps other override cursors in place.
    if (!qApp || CKXAppState::cursorDepth() == 0)
    {
        return;
    }
    QApplication::restoreOverrideCursor();
    CKXAppState::setCursorDepth(CKXAppState::cursorDepth() - 1);
}

void CKXUtilityFns::setCanClose(bool bCanClose)
{
    CKXAppState::setCanClose(bCanClose);
}

QFont getMACDefaultFont()
{
    QFont font = qApp ? QApplication::font() : QFont();
    font.setPointSize(9);
    return font;
}

float LERP(float a, float b, float t)
{
    return a + t * (b - a);
}
