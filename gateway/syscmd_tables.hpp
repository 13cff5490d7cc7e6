// Property table of the system command object's configuration block.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_syscmd.h"

namespace lumo::gw::syscmd {

using C = OvanSystemCmdConfig_t;
inline constexpr Field kConfig[] = {
    LUMO_F(C, UpgradeStatus, 'y'), LUMO_F(C, UpgradeSWVersion, 's'), LUMO_F(C, RestoreStatus, 'y'),
    LUMO_F(C, Province, 's'),      LUMO_F(C, MemAlarm, 'y'),         LUMO_F(C, MemLimit, 'y'),
};
// What OvanSetSystemCmdConfig writes, in this order.
inline constexpr auto kConfigWritable = pick(kConfig, {"MemAlarm", "MemLimit"});

inline constexpr RecordTable kConfigTable{"OvanSystemCmdConfig_t", "com.quv.igd1.SysCmd", kConfig,
                                          sizeof(OvanSystemCmdConfig_t)};

}  // namespace lumo::gw::syscmd
