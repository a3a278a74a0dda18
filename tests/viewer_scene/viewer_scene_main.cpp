// The rendering tests need a QApplication (and so a display); listing the tests does not.
#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
