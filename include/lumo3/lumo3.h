/* liblumo3: the gateway management library. Applications include this one header. */
#ifndef LUMO3_H
#define LUMO3_H

#include "lumo3_export.h"
#include "lumo3_core.h"
#include "lumo3_variant.h"
#include "lumo3_validate.h"
#include "lumo3_uci.h"
#include "lumo3_bus.h"
#include "lumo3_app.h"
#include "lumo3_gateway.h"
#include "lumo3_device.h"
#include "lumo3_wan.h"
#include "lumo3_wifi.h"
#include "lumo3_lanhost.h"
#include "lumo3_wlan.h"
#include "lumo3_syscmd.h"
#include "lumo3_netsvc.h"
#include "lumo3_access.h"
#include "lumo3_speedtest.h"
#include "lumo3_timers.h"
#include "lumo3_qos.h"
#include "lumo3_voicecwmp.h"
#include "lumo3_vpn.h"
#include "lumo3_dns.h"
#include "lumo3_omdiag.h"
#include "lumo3_servers.h"
#include "lumo3_storage.h"
#include "lumo3_vsie.h"
#include "lumo3_cache.h"

#endif /* LUMO3_H */
