// Application-wide state that the host utilities set and the main window reads.
#ifndef CKXAPPSTATE_H
#define CKXAPPSTATE_H

class CKXAppState
{
public:
    // False while a tool writes something that must not be cut short (a movie recording): the
    // main window and the sequence windows then refuse to close. True at start.
    static bool canClose();
    static void setCanClose(bool bCanClose);
    // How many cursors CKXUtilityFns::setCursor has pushed and not yet restored.
    static int cursorDepth();
    static void setCursorDepth(int nDepth);
};

#endif // CKXAPPSTATE_H
