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

    CKXViewerOptions defaults;
    ASSERT_TRUE(parse(defaults, {}));
    EXPECT_TRUE(defaults.m_strPluginDir.isEmpty());
    EXPECT_FALSE(defaults.m_bHeadless);
    EXPECT_FALSE(defaults.m_size.isValid());
}

TEST(ViewerOptions, RefusesBadInputWithAReason)
{
    const QList<QStringList> listBad = {
        {"--size", "12x5"},   {"--size", "1280"}, {"--size", "99999x600"}, {"--size", "-640x480"},
        {"--settle", "soon"}, {"--settle", "-1"}, {"--screenshot"},        {"--screenshot", ""},
        {"--no-such-option"}, {"stray-argument"},
    };
    for (const QStringList& listArguments : listBad)
    {
        CKXViewerOptions options;
        EXPECT_FALSE(parse(options, listArguments)) << qPrintable(listArguments.join(' '));
        EXPECT_FALSE(options.errorText().isEmpty()) << qPrintable(listArguments.join(' '));
    }
}
