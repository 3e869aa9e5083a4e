// SPDX-License-Identifier: MIT
#include "daemon/base/lock.h"

#include "daemon/base/info.h"

void mvrpLock() {
    silTakeSem(gMvrpInfo.sem, -1);
}

void mvrpUnlock() {
    silGiveSem(gMvrpInfo.sem);
}
