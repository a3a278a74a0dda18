// A shared library without Qt plug-in metadata: the viewer must skip it with a reason.
extern "C" int kxTestNotAPlugin()
{
    return 42;
}
