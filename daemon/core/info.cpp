// SPDX-License-Identifier: MIT
#include "daemon/core/info.h"

MvrpInfo gMvrpInfo;
