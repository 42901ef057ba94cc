#pragma once

namespace spf::zeromq {

/// Keeps this library loaded from now on, for threads that may return to its code after its bundle was uninstalled.
void keepLibraryLoaded();

}  // namespace spf::zeromq
