// SPDX-License-Identifier: MIT
//
// Files that are made into the program, as they lie in this directory.
#pragma once

namespace network {

extern const char* const kPictureStyle;  ///< picture.css
extern const char* const kPage;          ///< page.html

}  // namespace network
