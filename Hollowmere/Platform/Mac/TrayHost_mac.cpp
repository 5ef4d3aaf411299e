// SPDX-License-Identifier: MIT
#include "Platform/TrayHost.h"

namespace {
class MenuBar : public TrayHost {
public:
    bool available() const override { return true; }
};
} // namespace

std::unique_ptr<TrayHost> makeTrayHost() {
    return std::make_unique<MenuBar>();
}
