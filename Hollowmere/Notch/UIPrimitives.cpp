// SPDX-License-Identifier: MIT
#include "Notch/UIPrimitives.h"

#include "Platform/SymbolImageProvider.h"

#include <QFile>

namespace {
QString& logoResource() {
    static QString path = QStringLiteral(":/assets/claude-logo.svg");
    return path;
}
} // namespace

QString UIPrimitives::claudeLogoResource() {
    return logoResource();
}

void UIPrimitives::setClaudeLogoResource(const QString& path) {
    logoResource() = path;
}

QString UIPrimitives::claudeMarkSource(const QColor& color) {
    const bool found = QFile::exists(logoResource());
    return SymbolImageProvider::source(
        found ? QStringLiteral("claude-logo") : QStringLiteral("sparkle"), color);
}

QString UIPrimitives::symbolSource(const QString& name, const QColor& color) {
    return SymbolImageProvider::source(name, color);
}
