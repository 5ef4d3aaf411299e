// SPDX-License-Identifier: MIT
#pragma once

class QQmlEngine;

// What an engine needs to show the app's windows: the compiled-in QML modules and the "symbol"
// image provider.
namespace ViewEngine {
void prepare(QQmlEngine* engine);
}
