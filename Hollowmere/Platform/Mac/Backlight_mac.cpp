// SPDX-License-Identifier: MIT
// The built-in display's brightness through the private DisplayServices library, loaded at run
// time; without it there is no brightness to read or write.
#include "Platform/Backlight.h"

#include <CoreGraphics/CoreGraphics.h>

#include <dlfcn.h>

namespace {

using GetBrightness = int32_t (*)(uint32_t display, float* value);
using SetBrightness = int32_t (*)(uint32_t display, float value);

class DisplayServicesBacklight final : public Backlight {
public:
    DisplayServicesBacklight() { loadDisplayServices(); }

    std::optional<float> brightness() override {
        if (!m_get)
            return std::nullopt;
        float value = 0.5f;
        if (m_get(CGMainDisplayID(), &value) != 0)
            return std::nullopt;
        return value;
    }

    bool setBrightness(float value) override {
        return m_set && m_set(CGMainDisplayID(), value) == 0;
    }

private:
    void loadDisplayServices() {
        // The handle stays open for the life of the process.
        void* library =
            dlopen("/System/Library/PrivateFrameworks/DisplayServices.framework/DisplayServices",
                   RTLD_NOW);
        if (!library)
            return;
        m_get = reinterpret_cast<GetBrightness>(dlsym(library, "DisplayServicesGetBrightness"));
        m_set = reinterpret_cast<SetBrightness>(dlsym(library, "DisplayServicesSetBrightness"));
    }

    GetBrightness m_get = nullptr;
    SetBrightness m_set = nullptr;
};

} // namespace

std::unique_ptr<Backlight> makeBacklight() {
    return std::make_unique<DisplayServicesBacklight>();
}
