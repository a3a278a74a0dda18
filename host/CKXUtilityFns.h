// Small host utilities: application name, cursor, close control, default font, interpolation.
#ifndef CKXUTILITYFNS_H
#define CKXUTILITYFNS_H

#include <QCursor>
#include <QFont>
#include <QString>

class CKXUtilityFns
{
public:
    // The application's display name, the title of every message box.
    static QString getAppName();
    // Overrides the application cursor until restoreCursor().
    static void setCursor(const QCursor& cursor);
    static void restoreCursor();
    // While false, the application refuses to close (a recording is being written).
    static void setCanClose(bool bCanClose);
};

// The host's default user-interface font.
QFont getMACDefaultFont();

// Linear interpolation: a + t(b - a).
float LERP(float a, float b, float t);

#endif // CKXUTILITYFNS_H
