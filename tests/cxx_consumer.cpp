// The umbrella header used from C++.
#include <lumo3/lumo3.h>

#include <cstdio>
#include <cstring>

int main()
{
    char version[8];
    if (OvanInit() != 0 || std::strcmp(OvanGetAPIVersion(version), "v0.14") != 0)
        return 1;
    std::puts("c++ consumer ok");
    return 0;
}
