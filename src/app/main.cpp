#include "app/cli.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (isCommandLineInvocation(argc, argv))
        return runCommandLine(argc, argv);
    std::fprintf(stderr, "iconfoundry: the window is not part of this build; try 'iconfoundry --help'.\n");
    return 0;
}
