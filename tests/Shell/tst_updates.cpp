// SPDX-License-Identifier: MIT
// Updates on Linux: the feed and versions read as Sparkle reads them, and the updater fetching
// from a loopback HTTP server: one quiet check after the delay when automatic checks are on,
// none when off, and what the About tab then says.
#include "Shell/Appcast.h"
#include "Shell/AppcastUpdater.h"
#include "Shell/UpdaterManager.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray feed(const QString& shortVersion) {
    return QStringLiteral(
               R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel>
    <title>Hollowmere</title>
    <item>
      <title>Version 0.0.9</title>
      <sparkle:version>9</sparkle:version>
      <sparkle:shortVersionString>0.0.9</sparkle:shortVersionString>
      <enclosure url="https://example.invalid/0.0.9.dmg" length="1" type="application/octet-stream"/>
    </item>
    <item>
      <title>Version %1</title>
      <link>https://example.invalid/releases/%1</link>
      <enclosure url="https://example.invalid/%1.dmg" sparkle:version="42"
                 sparkle:shortVersionString="%1" length="1" type="application/octet-stream"/>
    </item>
  </channel>
</rss>
)")
        .arg(shortVersion)
        .toUtf8();
}

// Answers every GET with the body it holds and counts the requests.
class FeedServer : public QTcpServer {
public:
    QByteArray body;
    int status = 200;
    int requests = 0;

    FeedServer() {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* s = nextPendingConnection()) {
                connect(s, &QTcpSocket::readyRead, s, [this, s] {
                    if (!s->readAll().contains("\r\n\r\n"))
                        return;
                    ++requests;
                    s->write(QStringLiteral("HTTP/1.1 %1 X\r\nContent-Length: %2\r\n"
                                            "Connection: close\r\n\r\n")
                                 .arg(status)
                                 .arg(body.size())
                                 .toLatin1() +
                             body);
                    s->disconnectFromHost();
                });
                connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
            }
        });
        listen(QHostAddress::LocalHost);
    }
    QUrl url() const {
        return QUrl(QStringLiteral("http://127.0.0.1:%1/appcast.xml").arg(serverPort()));
    }
};

} // namespace

class TestUpdates : public QObject {
    Q_OBJECT
    QTemporaryDir m_config;

private slots:
    void initTestCase() {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
    }
    void init() { QSettings().clear(); }

    void versionOrder() {
        const char* const older_newer[][2] = {
            {"0.1.0", "0.1.1"},  {"0.9.0", "0.10.0"}, // numbers, not text
            {"1.0", "1.0.1"},    {"1.0b2", "1.0"},    // a pre-release before its release
            {"1.0b2", "1.0b10"}, {"2.0beta", "2.0rc1"},
        };
        for (const auto& [older, newer] : older_newer) {
            QVERIFY2(Appcast::compareVersions(older, newer) == -1 &&
                         Appcast::compareVersions(newer, older) == 1 &&
                         Appcast::compareVersions(newer, newer) == 0,
                     older);
        }
    }

    void feedItems() {
        const auto items = Appcast::parse(feed("0.2.0"));
        QCOMPARE(items.size(), size_t(2));
        QCOMPARE(items[1].displayVersion(), QStringLiteral("0.2.0"));
        QCOMPARE(items[1].version, QStringLiteral("42"));
        QCOMPARE(items[1].link, QUrl("https://example.invalid/releases/0.2.0"));
        QCOMPARE(items[0].link, QUrl("https://example.invalid/0.0.9.dmg")); // no page: the file
        const auto newest = Appcast::newestAfter(items, "0.1.0");
        QVERIFY(newest);
        QCOMPARE(newest->displayVersion(), QStringLiteral("0.2.0"));
        QVERIFY(!Appcast::newestAfter(items, "0.2.0"));
        QVERIFY(Appcast::parse("<rss><channel><item>").empty()); // cut short
        QVERIFY(Appcast::parse("not xml at all").empty());
    }

    void quietCheckOnceAfterTheDelay() {
        FeedServer server;
        server.body = feed("0.2.0");
        UpdaterManager updater(std::make_unique<AppcastUpdater>(server.url(), "0.1.0"), 200);
        QCOMPARE(updater.stateLine(),
                 QStringLiteral("Hollowmere checks for updates in the background."));
        QCOMPARE(server.requests, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!updater.resultLine().isEmpty(), 10000);
        QCOMPARE(updater.resultLine(), QStringLiteral("Hollowmere 0.2.0 is available. Update it "
                                                      "through your package manager."));
        QCOMPARE(updater.resultLink(), QUrl("https://example.invalid/releases/0.2.0"));
        QTest::qWait(500);
        QCOMPARE(server.requests, 1); // once per launch

        server.status = 404; // a quiet check that fails stays quiet
        UpdaterManager failing(std::make_unique<AppcastUpdater>(server.url(), "0.1.0"), 10);
        QTRY_COMPARE_WITH_TIMEOUT(server.requests, 2, 10000);
        QTest::qWait(300);
        QCOMPARE(failing.resultLine(), QString());
    }

    // Off: no check at start; a manual one still runs and speaks, with no news or a broken feed.
    void automaticOffStillChecksByHand() {
        FeedServer server;
        server.body = feed("0.1.0");
        QSettings().setValue("SUEnableAutomaticChecks", false);
        UpdaterManager updater(std::make_unique<AppcastUpdater>(server.url(), "0.1.0"), 50);
        QCOMPARE(updater.stateLine(), QStringLiteral("Automatic update checks are disabled."));
        QTest::qWait(400);
        QCOMPARE(server.requests, 0);
        updater.checkForUpdates();
        QTRY_VERIFY_WITH_TIMEOUT(!updater.resultLine().isEmpty(), 10000);
        QCOMPARE(server.requests, 1);
        QVERIFY2(updater.resultLine().endsWith("is the latest version."),
                 qPrintable(updater.resultLine()));
        server.body = "<html>not a feed</html>";
        updater.checkForUpdates();
        QTRY_COMPARE_WITH_TIMEOUT(updater.resultLine(),
                                  QStringLiteral("Couldn't check for updates: the update feed "
                                                 "could not be read"),
                                  10000);

        QSignalSpy changed(&updater, &UpdaterManager::changed);
        updater.setAutomaticallyChecks(true);
        QCOMPARE(changed.count(), 1);
        QVERIFY(QSettings().value("SUEnableAutomaticChecks").toBool());
    }

    void absentWithoutAFramework() {
        UpdaterManager updater(nullptr);
        QVERIFY(!updater.available());
        QCOMPARE(updater.stateLine(), QStringLiteral("Updates come through your package manager."));
        updater.checkForUpdates(); // nothing to do, nothing breaks
    }
};

QTEST_GUILESS_MAIN(TestUpdates)
#include "tst_updates.moc"
