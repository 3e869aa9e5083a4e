// SPDX-License-Identifier: MIT
#include "daemon/mgmt/command_sync.h"

#include "platform/contract/qor_hwil.h"

namespace {

/// Words of the control block.
enum MvrpControlWord : u32 { CONTROL_MODE = 0, CONTROL_PORT_SIZE = 1, CONTROL_VALUE_SIZE = 4 };

}  // namespace

u32 mvrpCommandSync(u32 unit, u32 command, void* value, MvrpSetMode mode) {
    QorCommandControl control = {};
    control.words[CONTROL_MODE] = mode;
    control.words[CONTROL_VALUE_SIZE] = sizeof(u32);
    return qorHwilCmdSyncApi(unit, command, value, &control);
}

u32 mvrpPortCommandSync(u32 unit, u32 command, void* value, MvrpSetMode mode) {
    QorCommandControl control = {};
    control.words[CONTROL_MODE] = mode | kMvrpPortCommandFlag;
    control.words[CONTROL_PORT_SIZE] = sizeof(u32);
    control.words[CONTROL_VALUE_SIZE] = sizeof(u32);
    return qorHwilCmdSyncApi(unit, command, value, &control);
}
