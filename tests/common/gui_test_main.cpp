// The entry point of the tests that open windows: they run inside a QApplication (and so need
// a display) with the automation mode on, so that no message box or file dialog waits for a
// click. Listing the tests, which ctest's discovery does at build time, needs no display.
#include "KXAutomation.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
    {
        return RUN_ALL_TESTS();
    }
    QApplication app(argc, argv);
    CKXAutomation::setEnabled(true);
    return RUN_ALL_TESTS();
}
