// Device, network, PON and VoIP information; capability questions; device name.
#include <cstdlib>
#include <cstring>
#include <syslog.h>

#include "gateway/device_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_device.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;

constexpr const char kDevicePath[] = "/com/quv/igd1/Info/Device";
constexpr const char kDeviceIface[] = "com.quv.igd1.DeviceInfo";

// Field `index` (1-based) of the ';'-separated capability string, as the gateway
// writes it: at most five fields, each cut to 15 characters.
bool capability_field_set(const char *capability, int index)
{
    char fields[5][16] = {};
    int n = 0;
    for (const char *p = capability; *p && n < 5; n++) {
        const char *end = std::strchr(p, ';');
        size_t len = end ? static_cast<size_t>(end - p) : std::strlen(p);
        g_strlcpy(fields[n], p, len + 1 < sizeof fields[n] ? len + 1 : sizeof fields[n]);
        if (!end)
            break;
        p = end + 1;
    }
    return std::atoi(fields[index - 1]) != 0;
}

// Reads the capability string; *flag = 1 when any of `indices` is set. An unreadable
// device counts as capable, with the bus layer's failure as the result.
int32_t support(uint32_t *flag, std::initializer_list<int> indices)
{
    if (!flag)
        return -1;
    GVariant *raw = nullptr;
    int32_t ret = OvanDBusGetProperty(kService, kDevicePath, kDeviceIface, "Capability", &raw);
    GPtr<GVariant> value(raw);
    uint32_t answer = 1;
    if (ret == 0) {
        answer = 0;
        const char *capability = value && g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING)
                                     ? g_variant_get_string(value.get(), nullptr)
                                     : "";
        for (int i : indices)
            if (capability_field_set(capability, i))
                answer = 1;
    }
    *flag = answer;
    return ret;
}

}  // namespace

extern "C" {

LUMO3_API int32_t wifivalinit = 0;
LUMO3_API uint32_t supportwifi = 0;
LUMO3_API int32_t usbvalinit = 0;
LUMO3_API uint32_t supportusb = 0;

LUMO3_API int32_t OvanGetDeviceInfo(OvanDeviceInfo_t *info)
{
    return get_singleton({"OvanGetDeviceInfo", &device::kDeviceInfoTable, 256}, "Enter.", kDevicePath, info);
}

LUMO3_API int32_t OvanGetDeviceInfov4(OvanDeviceInfov4_t *info)
{
    return get_singleton({"OvanGetDeviceInfov4", &device::kDeviceInfov4Table, 256}, "Enter.", kDevicePath, info);
}

LUMO3_API int32_t OvanGetNetworkInfo(OvanNetworkInfo_t *info)
{
    return get_singleton({"OvanGetNetworkInfo", &device::kNetworkInfoTable, 255}, "info(%p)",
                         "/com/quv/igd1/Info/Network", info);
}

LUMO3_API int32_t OvanGetPONInfo(OvanPONInfo_t *info)
{
    return get_singleton({"OvanGetPONInfo", &device::kPONInfoTable, 255}, "enter.", "/com/quv/igd1/Info/PON", info);
}

LUMO3_API int32_t OvanGetVoIPInfo(OvanVoIPInfo_t *info)
{
    return get_singleton({"OvanGetVoIPInfo", &device::kVoIPInfoTable, 255}, "info(%p)", "/com/quv/igd1/Info/VoIP",
                         info);
}

LUMO3_API int32_t OvanSupportWiFi(uint32_t *flag)
{
    return support(flag, {4, 5});
}

LUMO3_API int32_t OvanSupportUSB(uint32_t *flag)
{
    return support(flag, {3});
}

LUMO3_API int32_t OvanDeviceSetDevName(const char *devname)
{
    static const char tag[] = "OvanDeviceSetDevName";
    lumo_log(tag, LOG_DEBUG, "Enter, devname(%s)", devname ? devname : "");
    const char *name = devname ? devname : "";
    if (std::strlen(name) > 128) {
        lumo_log(tag, LOG_ERR, "devname(%s) is too long, its length is limited to 128", name);
        return -1;
    }
    return set_text_property(tag, kDevicePath, kDeviceIface, "DevName", name);
}

}  // extern "C"
