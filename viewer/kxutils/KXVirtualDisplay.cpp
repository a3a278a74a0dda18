#include "KXVirtualDisplay.h"

#include <cerrno>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
std::string executablePath()
{
    std::vector<char> buffer(4096);
    const ssize_t nLength = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    return nLength > 0 ? std::string(buffer.data(), static_cast<size_t>(nLength)) : std::string();
}

// The with-xvfb beside the running executable; empty when there is none.
std::string withXvfbBesideExecutable()
{
    const std::string strExe = executablePath();
    const std::string::size_type nSlash = strExe.rfind('/');
    if (nSlash == std::string::npos)
    {
        return std::string();
    }
    const std::string strScript = strExe.substr(0, nSlash + 1) + "with-xvfb";
    return access(strScript.c_str(), X_OK) == 0 ? strScript : std::string();
}
} // namespace

void kxExecUnderVirtualDisplay(int argc, char** argv)
{
    std::string strExe = executablePath();
    if (strExe.empty() && argc > 0)
    {
        strExe = argv[0]; // found through PATH again, as the shell did
    }
    if (strExe.empty())
    {
        errno = ENOENT;
        return;
    }
    const std::string strScript = withXvfbBesideExecutable();
    std::vector<char*> vArgs;
    vArgs.push_back(const_cast<char*>(strScript.empty() ? "with-xvfb" : strScript.c_str()));
    vArgs.push_back(const_cast<char*>(strExe.c_str()));
    for (int i = 1; i < argc; ++i)
    {
        vArgs.push_back(argv[i]);
    }
    vArgs.push_back(nullptr);
    if (strScript.empty())
    {
        execvp("with-xvfb", vArgs.data());
    }
    else
    {
        execv(strScript.c_str(), vArgs.data());
    }
}
