// Property tables of the FTP, Samba, HTTP and Telnet server records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_servers.h"

namespace lumo::gw::servers {

inline constexpr Field kFTPServer[] = {LUMO_F(OvanFTPServer_t, Enable, 'y'), LUMO_F(OvanFTPServer_t, AllowAnonymous, 'b'),
                                       LUMO_F(OvanFTPServer_t, Port, 'u')};
inline constexpr auto kFTPServerWritable = pick(kFTPServer, {"Enable", "AllowAnonymous"});
inline constexpr Field kSambaServer[] = {LUMO_F(OvanSambaServer_t, Enable, 'y'),
                                         LUMO_F(OvanSambaServer_t, AllowAnonymous, 'b')};
inline constexpr Field kFileAccount[] = {LUMO_F(OvanFileAccount_t, UserName, 's'),
                                         LUMO_F(OvanFileAccount_t, Password, 's')};
inline constexpr Field kHttpServer[] = {LUMO_F(OvanHttpServer_t, AdminPassword, 's')};
inline constexpr Field kTelnetServer[] = {LUMO_F(OvanTelnetServer_t, Enable, 'y'),
                                          LUMO_F(OvanTelnetServer_t, LANPort, 'u'),
                                          LUMO_F(OvanTelnetServer_t, WANPort, 'u')};
inline constexpr auto kTelnetEnable = pick(kTelnetServer, {"Enable"});
inline constexpr Field kTelnetAccount[] = {LUMO_F(OvanTelnetAccount_t, UserName, 's'),
                                           LUMO_F(OvanTelnetAccount_t, Password, 's'),
                                           LUMO_F(OvanTelnetAccount_t, Type, 's')};

inline constexpr RecordTable kFTPServerTable{"OvanFTPServer_t", "com.quv.igd1.FTPServer", kFTPServer,
                                             sizeof(OvanFTPServer_t)};
inline constexpr RecordTable kSambaServerTable{"OvanSambaServer_t", "com.quv.igd1.SambaServer", kSambaServer,
                                               sizeof(OvanSambaServer_t)};
inline constexpr RecordTable kFTPAccountTable{"OvanFileAccount_t", "com.quv.igd1.FTPAccount", kFileAccount,
                                              sizeof(OvanFileAccount_t)};
inline constexpr RecordTable kSambaAccountTable{"OvanFileAccount_t", "com.quv.igd1.SambaAccount", kFileAccount,
                                                sizeof(OvanFileAccount_t)};
inline constexpr RecordTable kHttpServerTable{"OvanHttpServer_t", "com.quv.igd1.HTTPServer", kHttpServer,
                                              sizeof(OvanHttpServer_t)};
inline constexpr RecordTable kTelnetServerTable{"OvanTelnetServer_t", "com.quv.igd1.TelnetServer", kTelnetServer,
                                                sizeof(OvanTelnetServer_t)};
inline constexpr RecordTable kTelnetAccountTable{"OvanTelnetAccount_t", "com.quv.igd1.TelnetAccount",
                                                 kTelnetAccount, sizeof(OvanTelnetAccount_t)};

}  // namespace lumo::gw::servers
