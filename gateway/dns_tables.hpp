// Property tables of the DNS server, DNS tunnel and DDNS records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_dns.h"

namespace lumo::gw::dns {

inline constexpr Field kServer[] = {LUMO_F(OvanDNSServerConfig_t, Server1, 's'),
                                    LUMO_F(OvanDNSServerConfig_t, Server2, 's')};
inline constexpr Field kServer6[] = {LUMO_F(OvanDNS6ServerConfig_t, Server1, 's'),
                                     LUMO_F(OvanDNS6ServerConfig_t, Server2, 's')};
inline constexpr Field kTunnel[] = {LUMO_F(OvanDNSTunnel_t, ServerIP, 's'),
                                    LUMO_AS(OvanDNSTunnel_t, DomainNameNum, DomainName)};

using D = OvanDDNSServer_t;
inline constexpr Field kDDNS[] = {
    LUMO_F(D, DDNSCfgEnabled, 'b'), LUMO_F(D, DDNSStatus, 'y'),     LUMO_F(D, DDNSProvider, 's'),
    LUMO_F(D, DDNSUsername, 's'),   LUMO_F(D, DDNSPassword, 's'),   LUMO_F(D, ServicePort, 'u'),
    LUMO_F(D, DDNSDomainName, 's'), LUMO_F(D, DDNSHostName, 's'),   LUMO_F(D, DDNSIP, 's'),
    LUMO_F(D, DDNSErrMsg, 's'),
};
inline constexpr auto kDDNSWritable = pick(kDDNS, {"DDNSCfgEnabled", "DDNSProvider", "DDNSUsername", "DDNSPassword",
                                                   "ServicePort", "DDNSDomainName", "DDNSHostName"});

inline constexpr RecordTable kServerTable{"OvanDNSServerConfig_t", "com.quv.igd1.DNSServerConfig", kServer,
                                          sizeof(OvanDNSServerConfig_t)};
inline constexpr RecordTable kServer6Table{"OvanDNS6ServerConfig_t", "com.quv.igd1.DNSv6ServerConfig", kServer6,
                                           sizeof(OvanDNS6ServerConfig_t)};
inline constexpr RecordTable kTunnelTable{"OvanDNSTunnel_t", "com.quv.igd1.DNSTunnel", kTunnel,
                                          sizeof(OvanDNSTunnel_t)};
inline constexpr RecordTable kDDNSTable{"OvanDDNSServer_t", "com.quv.igd1.DDNSServerConfig", kDDNS,
                                        sizeof(OvanDDNSServer_t)};

}  // namespace lumo::gw::dns
