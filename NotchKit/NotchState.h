// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

namespace NotchKit {
Q_NAMESPACE

// Where a notch stands; every surface starts hidden.
enum class NotchState { expanded, compact, hidden };
Q_ENUM_NS(NotchState)

// Which slot a piece of content is drawn in, so content can adapt to it.
enum class NotchSection { expanded, compactLeading, compactTrailing };
Q_ENUM_NS(NotchSection)

} // namespace NotchKit

using NotchKit::NotchSection;
using NotchKit::NotchState;
