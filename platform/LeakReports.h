#pragma once
// Support for LeakSanitizer builds.
namespace platform {

// A leak report names a library only if it is still loaded when the check
// runs at exit. Mesa unloads its driver (and the LLVM it uses) when the last
// display closes, so the driver's own leftovers would be reported from
// "<unknown module>" and no suppression could name them. In builds with
// AddressSanitizer this keeps the loaded GL driver libraries in memory until
// the end; otherwise it does nothing. Call it once a GL driver is loaded.
void keepGlDriverLoadedForLeakReports();

} // namespace platform
