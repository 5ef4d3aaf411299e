// SPDX-License-Identifier: MIT
#include "Platform/AccessibilityTrust.h"

#include "Platform/Mac/CFRef.h"

#include <ApplicationServices/ApplicationServices.h>

namespace AccessibilityTrust {

bool isTrusted(bool prompt) {
    const void* keys[] = {kAXTrustedCheckOptionPrompt};
    const void* values[] = {prompt ? kCFBooleanTrue : kCFBooleanFalse};
    CFRef<CFDictionaryRef> options(CFDictionaryCreate(kCFAllocatorDefault, keys, values, 1,
                                                      &kCFTypeDictionaryKeyCallBacks,
                                                      &kCFTypeDictionaryValueCallBacks));
    return AXIsProcessTrustedWithOptions(options.get());
}

} // namespace AccessibilityTrust
