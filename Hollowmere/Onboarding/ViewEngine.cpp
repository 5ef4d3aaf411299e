// SPDX-License-Identifier: MIT
#include "ViewEngine.h"

#include "Platform/SymbolImageProvider.h"

#include <QQmlEngine>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_OnboardingPlugin)

namespace ViewEngine {

void prepare(QQmlEngine* engine) {
    engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    if (!engine->imageProvider(QLatin1String(SymbolImageProvider::providerId)))
        engine->addImageProvider(QLatin1String(SymbolImageProvider::providerId),
                                 new SymbolImageProvider);
}

} // namespace ViewEngine
