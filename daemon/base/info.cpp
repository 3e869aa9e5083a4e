// SPDX-License-Identifier: MIT
#include "daemon/base/info.h"

MvrpInfo gMvrpInfo;
