// Running a program under an X server of its own when there is no display.
//
// The server is started by the with-xvfb script that the build puts next to the executables
// (bin/with-xvfb, a copy of scripts/with-xvfb): it lets Xvfb pick a free display number itself,
// so any number of viewers, tests and benchmarks may start at once without taking each other's
// display, and stops the server when the program ends.
#ifndef KXVIRTUALDISPLAY_H
#define KXVIRTUALDISPLAY_H

// Replaces the process with the running executable and argv[1..argc) run under with-xvfb (the
// one beside the executable, else the one on PATH). Returns only when with-xvfb could not be
// started, with errno set.
void kxExecUnderVirtualDisplay(int argc, char** argv);

#endif // KXVIRTUALDISPLAY_H
