// The viewer's command line.
#include "CKXViewerOptions.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace
{
bool parse(CKXViewerOptions& options, const QStringList& listArguments)
{
    return options.parse(QStringList{"kx3dviewer"} + listArguments);
}
} // namespace

TEST(ViewerOptions, ReadsEveryOption)
{
    CKXViewerOptions options;
    ASSERT_TRUE(parse(options, {"--plugins", "/opt/tools", "--headless", "--screenshot",
                                "/tmp/v.png", "--size", "1280x720", "--settle", "0"}));
    EXPECT_EQ(options.m_strPluginDir, "/opt/tools");
    EXPECT_TRUE(options.m_bHeadless);
    EXPECT_EQ(options.m_strScreenshot, "/tmp/v.png");
    EXPECT_EQ(options.m_size, QSize(1280, 720));
    EXPECT_EQ(options.m_nSettleMs, 0);

    // --open keeps its order; a role (any letter case) and a name come before a "=", and text
    // before a "=" that names no role is part of the file name.
    CKXViewerOptions data;
    ASSERT_TRUE(
        parse(data, {"--open", "scan/scene.json", "--open", "Organ/Left kidney=k.stl", "--open",
                     "source=lesion.nii.gz", "--open", "a=b.ply", "--export-scene", "out/sample"}));
    ASSERT_EQ(data.m_listOpen.size(), 4);
    const SKXOpenRequest& organ = data.m_listOpen.at(1);
    EXPECT_EQ(data.m_listOpen.at(0).path, "scan/scene.json");
    EXPECT_EQ(data.m_listOpen.at(0).role, EKXDataRole::Automatic);
    EXPECT_TRUE(organ.path == "k.stl" && organ.role == EKXDataRole::Organ &&
                organ.name == "Left kidney");
    EXPECT_TRUE(data.m_listOpen.at(2).role == EKXDataRole::Source &&
                data.m_listOpen.at(2).name.isEmpty());
    EXPECT_TRUE(data.m_listOpen.at(3).path == "a=b.ply" &&
                data.m_listOpen.at(3).role == EKXDataRole::Automatic);
    EXPECT_EQ(data.m_strExportScene, "out/sample");

    CKXViewerOptions defaults;
    ASSERT_TRUE(parse(defaults, {}));
    EXPECT_TRUE(defaults.m_strPluginDir.isEmpty());
    EXPECT_FALSE(defaults.m_bHeadless);
    EXPECT_FALSE(defaults.m_size.isValid());
    EXPECT_TRUE(defaults.m_listOpen.isEmpty() && defaults.m_strExportScene.isEmpty());
}

TEST(ViewerOptions, RefusesBadInputWithAReason)
{
    const QList<QStringList> listBad = {
        {"--size", "12x5"},     {"--size", "1280"},   {"--size", "99999x600"},
        {"--size", "-640x480"}, {"--settle", "soon"}, {"--settle", "-1"},
        {"--screenshot"},       {"--screenshot", ""}, {"--no-such-option"},
        {"stray-argument"},     {"--open", ""},       {"--open", "organ/Liver="},
        {"--export-scene", ""},
    };
    for (const QStringList& listArguments : listBad)
    {
        CKXViewerOptions options;
        EXPECT_FALSE(parse(options, listArguments)) << qPrintable(listArguments.join(' '));
        EXPECT_FALSE(options.errorText().isEmpty()) << qPrintable(listArguments.join(' '));
    }
}
