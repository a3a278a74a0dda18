// The viewer benchmarks need an X display. Without one, a benchmark runs itself again under an
// X server of its own, started by with-xvfb, with a 1920x1200 screen (large enough for a
// 1920x1080 view, or a smaller view beside the 3D Tools palette) unless the benchmark asks for
// another, and that run's exit status becomes the benchmark's.
#ifndef KXBENCHDISPLAY_H
#define KXBENCHDISPLAY_H

#include "KXVirtualDisplay.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Returns when there is a display to use; otherwise replaces the process with the run under
// with-xvfb, or exits with status 1 when with-xvfb cannot be started. pszScreen: the X server's
// screen, WxHxDEPTH (KX_XVFB_SCREEN, when set, has the last word).
inline void kxBenchEnsureDisplay(int argc, char** argv, const char* pszScreen = "1920x1200x24")
{
    if (std::getenv("DISPLAY") || std::getenv("KX_BENCH_NO_XVFB"))
        return;
    setenv("KX_BENCH_NO_XVFB", "1", 1); // the run under with-xvfb must not try again
    setenv("KX_XVFB_SCREEN", pszScreen, 0);
    kxExecUnderVirtualDisplay(argc, argv);
    std::fprintf(stderr, "%s: no display, and with-xvfb could not be started: %s\n", argv[0],
                 std::strerror(errno));
    std::exit(1);
}

#endif // KXBENCHDISPLAY_H
