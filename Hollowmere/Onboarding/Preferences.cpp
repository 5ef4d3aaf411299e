// SPDX-License-Identifier: MIT
#include "Preferences.h"

#include <QDateTime>
#include <QFile>

namespace Preferences {

bool reportUnreadable() {
    const QSettings defaults;
    const QString path = defaults.fileName();
    switch (defaults.status()) {
    case QSettings::NoError:
        return true;
    case QSettings::AccessError:
        qWarning("Hollowmere: cannot read the preferences at %s; starting with defaults",
                 qPrintable(path));
        return false;
    case QSettings::FormatError:
        break;
    }
    const QString aside = path + QStringLiteral(".unreadable-") +
                          QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    // Moved, not copied: the next start then begins clean instead of copying it again.
    if (QFile::rename(path, aside))
        qWarning("Hollowmere: the preferences at %s do not parse; kept them as %s and started "
                 "with defaults",
                 qPrintable(path), qPrintable(aside));
    else
        qWarning("Hollowmere: the preferences at %s do not parse and could not be moved aside; "
                 "starting with defaults",
                 qPrintable(path));
    return false;
}

} // namespace Preferences
