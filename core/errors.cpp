// Result-code messages.
#include "mvip.h"

#include <cstdint>

namespace {

// Indexed by the code's magnitude minus one.
constexpr const char* kMessages[] = {
    "Usage or internal error",
    "Memory heap allocation error",
    "Hardware device error",
    "Canceled by user",
    "Report logic error to Tarvell, Inc.",
    "Hardware option not installed or available",
    "Windows file read/write error",
    "Undetermined driver error",
    "Mnemonic name not found",
    "Invalid file format",
    "Option/Feature/Operation not (currently) supported",
    "No such item or object",
    "File not found",
    "File not creatable",
    "Insufficient table space",
    "Ill formed expression or constraint",
    "Invalid mathematical operation",
    "Invalid parameter or option specification",
    "Data type, size not supported",
    "Feature or operation not available in current environment",
    "Color(s) not supported",
    "Device access error",
    "Driver or Resource already opened for use",
    "Canceled after time out",
    "Driver or Resource not opened for use",
    "Insufficent memory on device",
    "Feature is not installed",
    "Function is an incomplete stub",
    // -29 has no text of its own.
    "Unknown error",
    "Terminated by trigger",
    "Area too small",
    "Multiple units, or currently selected units, not supported",
    "Invalid video format",
    "Compression mode not supported",
    "Implementation requires more space than provided",
    "Timed command arrived too late for execution",
    "Required resource not available",
    "Required library/module not found",
    "Required function in library/module not found",
    "Wrong (version of) parameter",
    "Internal error (bad chain)",
    "Video resource already in use",
    "Unknown device fault",
    "Undetermined operating system error",
    "Insufficient frame buffer memory",
    "State changed during operation",
    "Parameter(s) invalid for selected hardware",
    "XWindows/X11 mode not supported",
    "XWindows/X11 error",
    "Feature not available in current version of software",
    "Unknown error",
    "Invalid image dimensions",
    "Video state not found/defined",
    "Driver is wrong version",
    "Driver not installed or accessible",
    "Current operating system not supported",
    "File not found or creatable",
    "Can't convert value/parameter, or can't perform operation, in 32 bit app on 64 bit O.S.",
    "Can't identify camera model",
};
static_assert(sizeof kMessages / sizeof kMessages[0] == 59);

constexpr const char kUnknown[] = "Unknown error";

}  // namespace

extern "C" MVIP_API const char* mverrnomesg(int32_t code) {
    if (code >= 0) return nullptr;
    uint32_t magnitude = 0u - static_cast<uint32_t>(code);
    if (magnitude & 0x4000u) magnitude &= 0x3FFFu;
    if (magnitude - 1u >= 59u) return kUnknown;
    return kMessages[magnitude - 1u];
}
