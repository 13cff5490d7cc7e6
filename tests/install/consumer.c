/* An application built against an installed liblumo3 (pkg-config or CMake). */
#include <lumo3/lumo3.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    char version[8];
    OvanDeviceInfo_t info;
    memset(&info, 0, sizeof info);
    if (strcmp(OvanGetAPIVersion(version), "v0.14") != 0)
        return 1;
    if (!is_valid_quv_mac("00112233AABB") || is_valid_ipaddr("256.1.1.1"))
        return 2;
    if (OvanGetDeviceInfo(NULL) != -1)
        return 3;
    printf("installed consumer ok (%s)\n", version);
    return 0;
}
