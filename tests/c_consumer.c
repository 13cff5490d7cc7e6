/* A plain C99 application of the library: includes the umbrella header and calls
 * a few functions through the shared library. */
#include <lumo3/lumo3.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    char version[8];
    if (OvanInit() != 0)
        return 1;
    if (strcmp(OvanGetAPIVersion(version), "v0.14") != 0)
        return 2;
    if (OvanGetErrMsg() != NULL || qzr_dbus_service_context != NULL || gwdbusver != -1)
        return 3;
    if (strcmp(facilitynames[0].c_name, "auth") != 0 || prioritynames[0].c_val != 1)
        return 4;
    OvanDestroy();
    puts("c consumer ok");
    return 0;
}
