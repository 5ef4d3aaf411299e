// SPDX-License-Identifier: MIT
// Renders each onboarding step and each settings tab to PNG files, over fixed answers so the
// pictures do not depend on this machine:
//   hollowmere-windows-demo OUTPUT_DIR
#include "Onboarding/OnboardingFlow.h"
#include "Onboarding/ViewEngine.h"
#include "Sessions/SessionStore.h"
#include "Settings/SettingsModel.h"
#include "Shell/UpdaterManager.h"

#include <QApplication>
#include <QDir>
#include <QQuickView>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

namespace {

struct Machine {
    bool hooks = false;
    bool agent = false;
    bool trusted = true;
    QStringList rules{"Bash(git status:*)", "Bash(npm run test:*)", "Read", "Bash(git status:*)"};
    QString backup;

    OnboardingFlow::Environment onboarding() {
        OnboardingFlow::Environment env;
        env.hooksInstalled = [this] { return hooks; };
        env.installHooks = [this] {
            hooks = true;
            return QStringLiteral("installed hooks → /usr/bin/hollowmere-hook");
        };
        env.hookBinaryPath = [] { return std::optional<QString>("/usr/bin/hollowmere-hook"); };
        env.launchAgentInstalled = [this] { return agent; };
        env.installLaunchAgent = [this] { return agent = true; };
        env.uninstallLaunchAgent = [this] { return !(agent = false); };
        env.accessibilityTrusted = [this] { return trusted; };
        env.relaunch = [] {};
        env.openUrl = [](const QUrl&) {};
        return env;
    }
    SettingsModel::Environment settings() {
        SettingsModel::Environment env;
        env.shared = onboarding();
        env.uninstallHooks = [this] { return !(hooks = false); };
        env.restoreBackup = [] { return true; };
        env.backupPath = [this] { return backup; };
        env.allowPatterns = [this] { return rules; };
        env.removeAllowRule = [this](const QString& p) { return rules.removeOne(p); };
        return env;
    }
};

void settle(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

bool shoot(QQuickView& view, const QString& path) {
    settle(400);
    if (!view.grabWindow().save(path)) {
        qWarning() << "cannot write" << path;
        return false;
    }
    qInfo().noquote() << "wrote" << path;
    return true;
}

std::unique_ptr<QQuickView> viewOf(const char* file, const char* property, QObject* model) {
    auto view = std::make_unique<QQuickView>();
    ViewEngine::prepare(view->engine());
    view->setInitialProperties({{property, QVariant::fromValue(model)}});
    view->setSource(QUrl(QLatin1String(file)));
    for (const auto& error : view->errors())
        qWarning().noquote() << error.toString();
    view->show();
    return view;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral("0.1.0"));
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("demo");
    QDir().mkpath(out);
    // Preferences of a throw-away user.
    QTemporaryDir config;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, config.path());

    SessionStore::Environment storeEnv;
    storeEnv.settingsPath = config.filePath("settings.json");
    storeEnv.playSound = [](const QString&) {};
    storeEnv.runningClaudeCwds = [] { return std::set<std::string>{}; };
    SessionStore store(storeEnv);
    Machine machine;
    bool ok = true;

    {
        OnboardingFlow flow(&store, machine.onboarding());
        auto view = viewOf("qrc:/qt/qml/Hollowmere/Onboarding/OnboardingView.qml", "flow", &flow);
        ok &= shoot(*view, out + "/onboarding-1-welcome.png");
        flow.advance();
        ok &= shoot(*view, out + "/onboarding-2-hooks.png");
        flow.hooksPrimaryAction();
        ok &= shoot(*view, out + "/onboarding-3-permissions.png");
        flow.goBack();
        ok &= shoot(*view, out + "/onboarding-2-hooks-installed.png");
        flow.advance();
        flow.advance();
        ok &= shoot(*view, out + "/onboarding-4-demo-waiting.png");
        HookEvent event;
        event.kind = HookEvent::Kind::notification;
        event.sessionId = "demo";
        event.cwd = "/home/you/project";
        event.message = "Claude needs your permission";
        event.timestamp = nowSinceReferenceDate();
        store.handle(event, [](const HookDecision&) {});
        ok &= shoot(*view, out + "/onboarding-4-demo-detected.png");
    }
    {
        // A late grant on macOS: the restart the permissions step asks for.
        machine.trusted = false;
        OnboardingFlow flow(&store, machine.onboarding());
        flow.advance();
        flow.advance();
        auto view = viewOf("qrc:/qt/qml/Hollowmere/Onboarding/OnboardingView.qml", "flow", &flow);
        ok &= shoot(*view, out + "/onboarding-3-permissions-not-granted.png");
        machine.trusted = true;
        flow.refreshStatus();
        ok &= shoot(*view, out + "/onboarding-3-permissions-restart.png");
    }
    {
        machine.backup = config.filePath("settings.json.hollowmere-backup");
        QFile(machine.backup).open(QIODevice::WriteOnly);
        UpdaterManager updater(nullptr);
        SettingsModel model(&store, &updater, machine.settings());
        auto view = viewOf("qrc:/qt/qml/Hollowmere/Settings/SettingsView.qml", "model", &model);
        const char* names[] = {"general", "permissions", "connection", "about"};
        for (int tab = 0; tab < 4; ++tab) {
            model.setCurrentTab(tab);
            ok &= shoot(*view, out + "/settings-" + names[tab] + ".png");
        }
        model.setCurrentTab(SettingsModel::connection);
        model.requestRestore();
        ok &= shoot(*view, out + "/settings-connection-confirm.png");
        model.cancelConfirmation();
        machine.rules.clear();
        machine.hooks = false;
        QFile::remove(machine.backup);
        model.refresh();
        ok &= shoot(*view, out + "/settings-connection-empty.png");
    }
    return ok ? 0 : 1;
}
