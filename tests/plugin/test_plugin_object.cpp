// The plug-in object compiled into the test, so that a subclass can report what a host's menu
// identifiers would.
#include "KX3DAnimationPlugin.h"

#include <QAction>

#include <gtest/gtest.h>

namespace
{
// Reports the menu for which the host wants no action.
class CNoActionMenuPlugin : public CKX3DAnimationPlugin
{
public:
    int pluginMenu() override { return 5; }
};
} // namespace

TEST(PluginObject, NoActionIsEverMadeForTheMenuWithoutActions)
{
    CNoActionMenuPlugin plugin;
    EXPECT_EQ(plugin.pluginAction(), nullptr);
    EXPECT_EQ(plugin.pluginAction(), nullptr);
    EXPECT_TRUE(plugin.findChildren<QAction*>().isEmpty());
}
