// The key frame list rules without a window: names and numbers, stamp layout, time order, the
// update test and the source merge.
#include "KeyFrameList.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

using namespace KeyFrameList;

namespace
{
KeyFrameMap withStamps(const QStringList& rows, const QList<double>& stamps)
{
    KeyFrameMap map;
    for (int i = 0; i < rows.size(); ++i)
    {
        map[rows.at(i)].timeStamp = stamps.at(i);
    }
    return map;
}
} // namespace

TEST(KeyFrameListNames, NumbersReadBackAndUnparsableTextsReadZero)
{
    EXPECT_EQ(keyFrameName(7), "Key Frame 7");
    EXPECT_EQ(keyFrameNumber(keyFrameName(12)), 12);
    EXPECT_EQ(keyFrameNumber("Key Frame  3 "), 3);
    EXPECT_EQ(keyFrameNumber("Key Frame x"), 0);
    EXPECT_EQ(keyFrameNumber("Key"), 0);
}

TEST(KeyFrameListNames, NextNumberIsAboveEveryNumberButAtLeastRowsPlusOne)
{
    EXPECT_EQ(nextKeyFrameNumber({}), 1);
    EXPECT_EQ(nextKeyFrameNumber({"Key Frame 1", "Key Frame 2"}), 3);
    // Key Frame 2 was deleted: its number is not reused while 3 is in use.
    EXPECT_EQ(nextKeyFrameNumber({"Key Frame 1", "Key Frame 3"}), 4);
    // The last one was deleted: its number comes back.
    EXPECT_EQ(nextKeyFrameNumber({"Key Frame 1"}), 2);
    EXPECT_EQ(nextKeyFrameNumber({"Key Frame 9", "Key Frame 4"}), 10);
    EXPECT_EQ(nextKeyFrameNumber({"odd", "names"}), 3);
    // The largest representable number must not overflow into a negative one.
    EXPECT_EQ(nextKeyFrameNumber({QString("Key Frame %1").arg(INT_MAX)}), 2);
}

TEST(KeyFrameListStamps, OneTwoThreeAndManyKeyFramesSpreadOverTheScale)
{
    KeyFrameMap map;
    adjustTimeStamps({"A"}, 100.0, map);
    EXPECT_EQ(map["A"].timeStamp, 100.0); // a single key frame sits at the end, not at 0

    adjustTimeStamps({"A", "B"}, 100.0, map);
    EXPECT_EQ(map["A"].timeStamp, 0.0);
    EXPECT_EQ(map["B"].timeStamp, 100.0);

    adjustTimeStamps({"B", "A", "C"}, 100.0, map); // row order, not name order
    EXPECT_EQ(map["B"].timeStamp, 0.0);
    EXPECT_EQ(map["A"].timeStamp, 50.0);
    EXPECT_EQ(map["C"].timeStamp, 100.0);
    EXPECT_EQ(map.size(), 3); // missing rows get a record, nothing else is added

    for (int n = 2; n <= MAX_KEY_FRAMES; ++n)
    {
        QStringList rows;
        for (int i = 1; i <= n; ++i)
        {
            rows << keyFrameName(i);
        }
        KeyFrameMap many;
        adjustTimeStamps(rows, 100.0, many);
        for (int i = 1; i < n; ++i)
        {
            ASSERT_LT(many[rows.at(i - 1)].timeStamp, many[rows.at(i)].timeStamp) << n;
            ASSERT_NEAR(many[rows.at(i)].timeStamp, 100.0 * i / (n - 1), 1e-9) << n;
        }
        ASSERT_EQ(many[rows.last()].timeStamp, 100.0) << n; // exactly, whatever the rounding
    }
}

TEST(KeyFrameListOrder, SortsByStampStablyAndSurvivesUnorderedStamps)
{
    // Restored from a name-ordered map: Key Frame 10 sorts before Key Frame 2 as text.
    const QStringList rows = {"Key Frame 10", "Key Frame 2", "Key Frame 3"};
    EXPECT_EQ(timeStampOrder(rows, withStamps(rows, {100, 0, 50})),
              QStringList({"Key Frame 2", "Key Frame 3", "Key Frame 10"}));

    const QStringList equal = {"C", "A", "B", "D"};
    EXPECT_EQ(timeStampOrder(equal, withStamps(equal, {5, 5, 1, 5})),
              QStringList({"B", "C", "A", "D"}));

    // A name without a record counts as stamp 0.
    EXPECT_EQ(timeStampOrder({"X", "Y"}, withStamps({"X"}, {10})), QStringList({"Y", "X"}));

    const double dNaN = std::numeric_limits<double>::quiet_NaN();
    const QStringList odd = {"P", "Q", "R"};
    const QStringList sorted = timeStampOrder(odd, withStamps(odd, {30, dNaN, 10}));
    EXPECT_EQ(sorted.size(), 3);
    EXPECT_TRUE(sorted.contains("P") && sorted.contains("Q") && sorted.contains("R"));
}

TEST(KeyFrameListUpdate, StampMustLieStrictlyBetweenTheNeighbours)
{
    const QStringList rows = {"A", "B", "C"};
    const KeyFrameMap map = withStamps(rows, {0, 50, 100});
    EXPECT_TRUE(fitsBetweenNeighbours(rows, map, 1, 50));
    EXPECT_TRUE(fitsBetweenNeighbours(rows, map, 1, 1));
    EXPECT_FALSE(fitsBetweenNeighbours(rows, map, 1, 0));   // equal to the previous
    EXPECT_FALSE(fitsBetweenNeighbours(rows, map, 1, 100)); // equal to the next
    EXPECT_FALSE(fitsBetweenNeighbours(rows, map, 1, 120));
    EXPECT_TRUE(fitsBetweenNeighbours(rows, map, 0, 49));
    EXPECT_FALSE(fitsBetweenNeighbours(rows, map, 0, 50));
    EXPECT_TRUE(fitsBetweenNeighbours(rows, map, 2, 100));
    EXPECT_FALSE(fitsBetweenNeighbours(rows, map, 2, 50));
    EXPECT_TRUE(fitsBetweenNeighbours({"A"}, map, 0, 7)); // no neighbours
}

TEST(KeyFrameListSources, OnlyMissingSourcesAreAddedAndOrgansHideAsAWhole)
{
    tag_s3Dcontrols initial;
    initial.sourceControls["Original"].volumeOpacity = 10;
    tag_s3Dcontrols later;
    later.sourceControls["Original"].volumeOpacity = 90;
    later.sourceControls["original"].volumeOpacity = 20; // names are case-sensitive
    later.sourceControls["B_SourceVoxels"].volumeOpacity = 30;

    EXPECT_EQ(addMissingSources(later, initial), 2);
    EXPECT_EQ(initial.sourceControls["Original"].volumeOpacity, 10);
    EXPECT_EQ(initial.sourceControls["original"].volumeOpacity, 20);
    EXPECT_EQ(initial.sourceControls["B_SourceVoxels"].volumeOpacity, 30);
    EXPECT_EQ(addMissingSources(later, initial), 0);

    const QMap<QString, bool> host = {{"Heart", true}, {"Liver", false}};
    EXPECT_EQ(capturedOrganVisibility(host, true), host);
    const QMap<QString, bool> hidden = {{"Heart", false}, {"Liver", false}};
    EXPECT_EQ(capturedOrganVisibility(host, false), hidden);
}
