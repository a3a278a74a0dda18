// Palettes: range, part of the table, reversal and log scale change the mapped colour.
#include "CKXPalette.h"

#include <gtest/gtest.h>

namespace
{
QColor tableAt(int table, double pos)
{
    return QColor(CKXPalette::tableColor(table, pos));
}
} // namespace

TEST(Palette, TheRangeSpreadsTheTableOverTheValues)
{
    CKXPalette p;
    p.SetColorTable(CKXPalette::Rainbow, 0.0f, 100.0f);
    EXPECT_EQ(p.mapColor(0.0), tableAt(CKXPalette::Rainbow, 0.0));
    EXPECT_EQ(p.mapColor(100.0), tableAt(CKXPalette::Rainbow, 1.0));
    EXPECT_EQ(p.mapColor(250.0), tableAt(CKXPalette::Rainbow, 1.0)); // clamped above
    EXPECT_EQ(p.mapColor(-1.0).alpha(), 0);                          // not coloured below
    const QColor before = p.mapColor(50.0);
    p.SetColorTable(CKXPalette::Rainbow, 0.0f, 200.0f);
    EXPECT_NE(p.mapColor(50.0), before);
    EXPECT_EQ(p.mapColor(50.0), tableAt(CKXPalette::Rainbow, 0.25));
}

TEST(Palette, ThePartInUseNarrowsTheTable)
{
    CKXPalette p;
    p.SetColorTable(CKXPalette::HotIron, 0.0f, 10.0f);
    p.setColorTableType(CKXPalette::HotIron, 0.5f, 0.75f);
    EXPECT_EQ(p.mapColor(0.0), tableAt(CKXPalette::HotIron, 0.5));
    EXPECT_EQ(p.mapColor(10.0), tableAt(CKXPalette::HotIron, 0.75));
}

TEST(Palette, ReversedSwapsTheEnds)
{
    CKXPalette p;
    p.SetColorTable(CKXPalette::CoolWarm, 0.0f, 1.0f);
    const QColor low = p.mapColor(0.0), high = p.mapColor(1.0);
    p.setReversed(true);
    EXPECT_EQ(p.mapColor(0.0), high);
    EXPECT_EQ(p.mapColor(1.0), low);
}

TEST(Palette, LogScaleSpreadsDecades)
{
    CKXPalette p;
    p.SetColorTable(CKXPalette::Grey, 1.0f, 1000.0f);
    const QColor linear = p.mapColor(10.0);
    p.setLogScale(true);
    EXPECT_NE(p.mapColor(10.0), linear);
    EXPECT_EQ(p.mapColor(10.0), tableAt(CKXPalette::Grey, 1.0 / 3.0));
    EXPECT_EQ(p.mapColor(0.5).alpha(), 0);
    // A lower bound of zero: three decades below the maximum are coloured.
    p.SetColorTable(CKXPalette::Grey, 0.0f, 1000.0f);
    EXPECT_EQ(p.mapColor(1.0), tableAt(CKXPalette::Grey, 0.0));
    EXPECT_EQ(p.mapColor(0.5).alpha(), 0);
}

TEST(Palette, TablesDifferAndChangesAreAnnounced)
{
    for (int a = 0; a < CKXPalette::TableCount; ++a)
        for (int b = a + 1; b < CKXPalette::TableCount; ++b)
            EXPECT_NE(tableAt(a, 0.6), tableAt(b, 0.6)) << a << " " << b;
    EXPECT_EQ(CKXPalette::tableNames().size(), CKXPalette::TableCount);
    CKXPalette p;
    int calls = 0;
    p.setChangeListener([&calls](CKXPalette*) { ++calls; });
    const unsigned v = p.version();
    p.setReversed(true);
    p.setLogScale(false);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(p.version(), v + 2);
}
