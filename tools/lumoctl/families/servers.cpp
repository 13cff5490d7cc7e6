// FTP, Samba, HTTP and Telnet servers and their accounts.
#include "gateway/servers_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;

Contribution servers()
{
    return {{
        {.object = "ftp-server", .layout = "", .help = "the FTP server (Enable 0..3, AllowAnonymous)",
         .table = &gw::servers::kFTPServerTable, .usb = true, .get = Adapt<Ovan_GetFTPServer>::rec,
         .writable = fields({gw::servers::kFTPServerWritable}),
         .set = Adapt<Ovan_SetFtpServer>::set},
        {.object = "ftp-account", .layout = "", .help = "FTP user accounts", .table = &gw::servers::kFTPAccountTable, .usb = true,
         .get_at = Adapt<Ovan_GetFTPAccount>::at, .list = Adapt<Ovan_GetFTPAccountObjs>::list,
         .writable = fields({gw::servers::kFileAccount}), .set_at = Adapt<Ovan_SetFTPAccount>::at,
         .add = Adapt<Ovan_AddFtpAccount>::rec, .del = Ovan_DelFtpAccount},
        {.object = "samba-server", .layout = "", .help = "the Samba server (Enable 0..3, AllowAnonymous)",
         .table = &gw::servers::kSambaServerTable, .usb = true, .get = Adapt<Ovan_GetSambaServer>::rec,
         .writable = fields({gw::servers::kSambaServer}), .set = Adapt<Ovan_SetSambaServer>::set},
        {.object = "samba-account", .layout = "", .help = "Samba user accounts",
         .table = &gw::servers::kSambaAccountTable, .usb = true, .get_at = Adapt<Ovan_GetSambaAccount>::at,
         .list = Adapt<Ovan_GetSambaAccountObjs>::list, .writable = fields({gw::servers::kFileAccount}),
         .set_at = Adapt<Ovan_SetSambaAccount>::at, .add = Adapt<Ovan_AddSambaAccount>::rec,
         .del = Ovan_DelSambaAccount},
        {.object = "http-server", .layout = "", .help = "the web administration server",
         .table = &gw::servers::kHttpServerTable, .get = Adapt<Ovan_GetHttpServer>::rec},
        {.object = "telnet-server", .layout = "", .help = "the Telnet server (Enable 0..3 can be set)",
         .table = &gw::servers::kTelnetServerTable, .get = Adapt<OvanGetTelnetServerConfig>::rec,
         .writable = fields({gw::servers::kTelnetEnable}),
         .set = [](void *r, const Given &) {
             return OvanEnableTelnetServer(static_cast<OvanTelnetServer_t *>(r)->Enable);
         }},
        {.object = "telnet-account", .layout = "", .help = "Telnet user accounts",
         .table = &gw::servers::kTelnetAccountTable, .get_at = Adapt<OvanGetTelnetAccount>::at,
         .list = Adapt<OvanGetTelnetAccountObjs>::list},
    }, {}};
}

const FamilyRegistrar kServers("69-servers", servers);

}  // namespace
}  // namespace lumoctl
