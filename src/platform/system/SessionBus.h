#pragma once

namespace SessionBus {

// Whether there is a session bus already; asking for one where there is none could start one.
bool isThere();

}  // namespace SessionBus
