// SPDX-License-Identifier: MIT
#include "ClaudeIntegration/TerminalFocusService.h"

#include "ClaudeIntegration/TerminalFocusRules.h"

namespace TerminalFocusService {

std::optional<QString> terminalLabel(const std::optional<QString>& bundleId) {
    return TerminalRules::terminalLabel(bundleId);
}

QString terminalIcon(const std::optional<QString>& bundleId) {
    return TerminalRules::terminalIcon(bundleId);
}

} // namespace TerminalFocusService
