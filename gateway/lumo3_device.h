/* liblumo3 gateway objects: device, network, PON and VoIP information; the WiFi and
 * USB capability questions; the device name. */
#ifndef LUMO3_DEVICE_H
#define LUMO3_DEVICE_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* Fields shared by both device-information layouts. */
#define OVAN_DEVICE_INFO_FIELDS      \
    char path[256];                  \
    uint8_t BusinessStatus;          \
    char Manufacturer[64];           \
    char MAC[13];                    \
    char SWVersion[64];              \
    char HDVersion[64];              \
    char ITMSProtocolVersion[64];    \
    char SpecVersion[64];            \
    char DBusInterfaceVersion[17];   \
    char ProductClass[64];           \
    char CPUClass[64];               \
    char DevType[128];               \
    char DevType1[16];               \
    char DevType2[128];              \
    char Capability[64];             \
    uint32_t FlashSize;              \
    uint32_t RamSize;                \
    char DevName[128];               \
    uint8_t CPUUsage;                \
    uint8_t MEMUsage;                \
    uint8_t FlashUsage;              \
    uint32_t SysDuration;            \
    uint8_t HGWSleep;

/* "/com/quv/igd1/Info/Device", "com.quv.igd1.DeviceInfo" */
typedef struct OvanDeviceInfo {
    OVAN_DEVICE_INFO_FIELDS
} OvanDeviceInfo_t;

typedef struct OvanDeviceInfov4 {
    OVAN_DEVICE_INFO_FIELDS
    char DevStyle[33];
} OvanDeviceInfov4_t;

/* "/com/quv/igd1/Info/Network", "com.quv.igd1.NetworkInfo" */
typedef struct OvanNetworkInfo {
    char path[256];
    uint32_t UPLink;
    uint8_t IPv6;
    uint8_t VLANbind;
    char WiFiMode[128];
    uint32_t PONDuration;
    uint32_t PPPOEDuration;
    uint8_t LAN1Status;
    uint8_t LAN2Status;
    uint8_t LAN3Status;
    uint8_t LAN4Status;
    uint64_t LAN1TXByte;
    uint64_t LAN1RXByte;
    uint64_t LAN2TXByte;
    uint64_t LAN2RXByte;
    uint64_t LAN3TXByte;
    uint64_t LAN3RXByte;
    uint64_t LAN4TXByte;
    uint64_t LAN4RXByte;
    char WANLinkStatus[9];
    char WIFIModuleStatus[9];
    char WANConnectionStatus[64];
    char PPPoEDialReason[64];
    char IPv6_WANConnectionStatus[64];
    char IPv6_PPPoEDialReason[64];
    char LANIPAddr[16];
    char LANIPv6Addr[48];
    char WANIPAddr[16];
    char WANIPv6Addr[48];
    uint64_t WiFiBytes;
    uint64_t WiFiTxBytes;
    uint64_t WiFiRxBytes;
    uint64_t WANBytes;
    uint64_t WANTxBytes;
    uint64_t WANRxBytes;
} OvanNetworkInfo_t;

/* "/com/quv/igd1/Info/PON", "com.quv.igd1.PONInfo" */
typedef struct OvanPONInfo {
    char path[256];
    char LOID[64];
    char Password[64];
    double Temperature;
    double Voltage;
    double Current;
    double TXPower;
    double RXPower;
    int32_t SupportPONStatusQuery;
    char PONStatus[64];
    uint64_t BytesSent;
    uint64_t BytesReceived;
    uint64_t PacketsSent;
    uint64_t PacketsReceived;
    uint64_t FECError;
    uint64_t DropPackets;
} OvanPONInfo_t;

/* "/com/quv/igd1/Info/VoIP", "com.quv.igd1.VoIPInfo" */
typedef struct OvanVoIPInfo {
    char path[256];
    char VoIPName1[64];
    char VoIPName2[64];
    char Line1Status[33];
    char Line2Status[33];
} OvanVoIPInfo_t;

/* Singleton getters: 0, or -1 for a NULL record, a failed read or an empty answer.
 * Fields the gateway does not send keep their value: zero the record first. */
LUMO3_API int32_t OvanGetDeviceInfo(OvanDeviceInfo_t *info);
LUMO3_API int32_t OvanGetDeviceInfov4(OvanDeviceInfov4_t *info);
LUMO3_API int32_t OvanGetNetworkInfo(OvanNetworkInfo_t *info);
LUMO3_API int32_t OvanGetPONInfo(OvanPONInfo_t *info);
LUMO3_API int32_t OvanGetVoIPInfo(OvanVoIPInfo_t *info);

/* *flag = 1 when the gateway has WiFi (USB), else 0. Returns the bus result; when
 * the gateway cannot be read *flag is 1 and the result non-zero. */
LUMO3_API int32_t OvanSupportWiFi(uint32_t *flag);
LUMO3_API int32_t OvanSupportUSB(uint32_t *flag);

/* Sets the device's friendly name (NULL or "" clears it; at most 128 characters,
 * UTF-8). */
LUMO3_API int32_t OvanDeviceSetDevName(const char *devname);

LUMO3_END_DECLS

#endif /* LUMO3_DEVICE_H */
