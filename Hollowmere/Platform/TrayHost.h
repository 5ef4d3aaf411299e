// SPDX-License-Identifier: MIT
// Whether a tray host (an XEmbed system tray or a StatusNotifier host) is there may change while
// the app runs: a panel starts late, restarts, or goes away. macOS always has its menu bar.
#pragma once

#include <QObject>

#include <memory>

class TrayHost : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // Whether a host is there now, as far as the last notice from the system says.
    virtual bool available() const = 0;

signals:
    // A host may have come or gone.
    void changed();
};

std::unique_ptr<TrayHost> makeTrayHost();
