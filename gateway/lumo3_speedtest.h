/* liblumo3 gateway objects: HTTP download test, speed tests, feature flags and the
 * CloudVR account. */
#ifndef LUMO3_SPEEDTEST_H
#define LUMO3_SPEEDTEST_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Diagnostics/HttpDownload", "com.quv.igd1.HttpDownloadTest" */
typedef struct OvanHttpDownloadTestResult {
    char path[256];
    uint32_t Status;
    char Result[257];
    char URL[1024];
} OvanHttpDownloadTestResult_t;

/* "/com/quv/igd1/Diagnostics/HttpDownload", "com.quv.igd1.SpeedTestFF" */
typedef struct OvanSpeedTestFFResult {
    char path[256];
    int32_t TestingStatus;
    uint32_t Result;
    char Ticket[81];
    uint8_t SpeedType;
    char URL[1024];
    char DW_SPEED_MAX_RATE[17];
    char DW_SPEED_RATE[17];
    char UP_SPEED_MAX_RATE[17];
    char UP_SPEED_RATE[17];
    char BEGIN_TIME[33];
    char END_TIME[33];
} OvanSpeedTestFFResult_t;

/* The same object with the delay and loss figures. */
typedef struct OvanSpeedTestFFResultv4 {
    char path[256];
    int32_t TestingStatus;
    uint32_t Result;
    char Ticket[81];
    uint8_t SpeedType;
    char URL[1024];
    char DW_SPEED_MAX_RATE[17];
    char DW_SPEED_RATE[17];
    char UP_SPEED_MAX_RATE[17];
    char UP_SPEED_RATE[17];
    char BEGIN_TIME[33];
    char END_TIME[33];
    char MAX_TIME_DELAY[17];
    char MIN_TIME_DELAY[17];
    char AVG_TIME_DELAY[17];
    char PACKET_LOSS[17];
    char PACKET_SHAKE[17];
} OvanSpeedTestFFResultv4_t;

/* "/com/quv/igd1/Diagnostics/HttpDownload", "com.quv.igd1.SpeedTestLocal" */
typedef struct OvanSpeedTestLocal {
    char path[256];
    int32_t Enable;
    int32_t TestingStatus;
    uint32_t Result;
    uint8_t SpeedType;
    char URL[1024];
    char DW_SPEED_MAX_RATE[17];
    char DW_SPEED_RATE[17];
    char UP_SPEED_MAX_RATE[17];
    char UP_SPEED_RATE[17];
    char BEGIN_TIME[33];
    char END_TIME[33];
    char RFU1[33];
    char RFU2[33];
} OvanSpeedTestLocal_t;

/* "/com/quv/igd1/Info/FeatureFlag", "com.quv.igd1.FeatureFlag" */
typedef struct OvanFeatureFlag {
    char path[256];
    int32_t H248;
    int32_t PortBind;
    int32_t VlanBind;
    int32_t OnDemandDialin;
} OvanFeatureFlag_t;

/* "/com/quv/igd1/Info/CLOUDVR", "com.quv.igd1.CLOUDVR" */
typedef struct OvanCloudVR {
    char path[256];
    int32_t Enable;
    char UserID[64];
    char Password[64]; /* as the gateway reports it */
} OvanCloudVR_t;

/* All return 0 on success and -1 on failure. The Start functions hand out the
 * gateway's result word in *status and, when it is not 0, its message in *errmsg
 * (g_free'd by the caller); when the library itself fails, *status is 1 and *errmsg
 * a message of the library's. Either may be NULL. They return -1 unless the word is
 * 0. The getters fill only what the gateway sent: zero the record first. */

/* url: non-empty and containing a "."; any longer than 1023 characters is read back
 * cut. */
LUMO3_API int32_t OvanSetHttpDownloadTestURL(const char *url);
/* *url: a new g_free'd copy of the configured URL. */
LUMO3_API int32_t OvanGetHttpDownloadTestURL(char **url);
/* time: the test's duration, 0..3600 seconds. */
LUMO3_API int32_t OvanStartHttpDownloadTest(int32_t time, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetHttpDownloadTestResult(OvanHttpDownloadTestResult_t *rec);

LUMO3_API int32_t OvanGetSpeedTestFFResult(OvanSpeedTestFFResult_t *rec);
LUMO3_API int32_t OvanGetSpeedTestFFResultv4(OvanSpeedTestFFResultv4_t *rec);
/* ticket: 1..64 characters; speedType 0..3; url: 1..1024 characters. */
LUMO3_API int32_t OvanSetSpeedTestFFConfig(const char *ticket, int32_t speedType, const char *url);
/* time: 0..3600 seconds. */
LUMO3_API int32_t OvanStartSpeedTestFF(int32_t time, uint32_t *status, char **errmsg);

LUMO3_API int32_t OvanGetSpeedTestLocalv4(OvanSpeedTestLocal_t *rec);
/* speedType 0..3; RFU1 and RFU2 are written only when non-empty (NULL counts as
 * empty) and are at most 32 characters, the width they are read back in. */
LUMO3_API int32_t OvanSetSpeedTestLocalConfigv4(int32_t enable, int32_t speedType, const char *RFU1,
                                                const char *RFU2);
LUMO3_API int32_t OvanStartSpeedTestLocalv4(uint32_t *status, char **errmsg);

LUMO3_API int32_t OvanGetFeatureFlagv4(OvanFeatureFlag_t *rec);
LUMO3_API int32_t OvanGetCloudVRv4(OvanCloudVR_t *rec);

LUMO3_END_DECLS

#endif /* LUMO3_SPEEDTEST_H */
