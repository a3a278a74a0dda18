// The viewer benchmarks need an X display. Without one, a benchmark runs itself again under
// xvfb-run with a 1920x1200 screen (large enough for a 1920x1080 view or a view beside the 3D
// Tools palette) and that run's exit status becomes the benchmark's.
#ifndef KXBENCHDISPLAY_H
#define KXBENCHDISPLAY_H

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>

// Returns when there is a display to use; otherwise replaces the process with the run under
// xvfb-run, or exits with status 1 when xvfb-run cannot be started.
inline void kxBenchEnsureDisplay(int argc, char** argv)
{
    if (std::getenv("DISPLAY") || std::getenv("KX_BENCH_NO_XVFB"))
        return;
    setenv("KX_BENCH_NO_XVFB", "1", 1); // the run under xvfb-run must not try again
    std::vector<char*> args{const_cast<char*>("xvfb-run"), const_cast<char*>("-a"),
                            const_cast<char*>("-s"), const_cast<char*>("-screen 0 1920x1200x24")};
    for (int i = 0; i < argc; ++i)
        args.push_back(argv[i]);
    args.push_back(nullptr);
    execvp("xvfb-run", args.data());
    std::perror(argv[0]);
    std::exit(1);
}

#endif // KXBENCHDISPLAY_H
