// SPDX-License-Identifier: MIT
#include <QtTest>

#include "HUD/BatteryRules.h"
#include "HUD/HUDRules.h"
#include "HUD/HUDState.h"
#include "HUD/MediaKeys.h"

using BatteryRules::Event;
using Kind = HUDKind;

namespace {
std::vector<Event> low(int level) {
    return {{Event::Kind::low, level}};
}
const std::vector<Event> none;
const std::vector<Event> unplugged{{Event::Kind::unplugged}};
const std::vector<Event> plugged{{Event::Kind::plugged}};
} // namespace

class TestHUDRules : public QObject {
    Q_OBJECT
private slots:
    void symbolsTintsAndLabels();
    void barValueFollowsTheKind();
    void segmentsRoundUpAndWidthsHaveAFloor();
    void stateNotifiesOnlyRealChanges();
    void keyDecodingSwallowsOnlyOurKeyDowns();
    void batteryLevelTruncates();
    void batteryWalkFiresEachThresholdOncePerDischarge();
    void batteryStartAtEightPercentPrimesTwenty();
};

void TestHUDRules::symbolsTintsAndLabels() {
    QCOMPARE(HUDRules::symbolName(Kind::batteryPlugged(80)), QString("bolt.fill"));
    QCOMPARE(HUDRules::symbolName(Kind::batteryUnplugged(80)), QString("battery.100"));
    QCOMPARE(HUDRules::symbolName(Kind::batteryLow(9)), QString("battery.25"));
    QCOMPARE(HUDRules::symbolName(Kind::volume()), QString("speaker.wave.2.fill"));
    QCOMPARE(HUDRules::symbolName(Kind::brightness()), QString("sun.max.fill"));
    QVERIFY(HUDRules::isWarning(Kind::batteryLow(9)));
    QVERIFY(!HUDRules::isWarning(Kind::batteryUnplugged(9)));
    QVERIFY(!HUDRules::isWarning(Kind::volume()));

    QCOMPARE(HUDRules::label(Kind::volume(), 0.5625f), QString("56%"));
    QCOMPARE(HUDRules::label(Kind::brightness(), 0.125f), QString("13%"));
    QCOMPARE(HUDRules::label(Kind::volume(), 0.0f), QString("0%"));
    QCOMPARE(HUDRules::label(Kind::volume(), 1.0f), QString("100%"));
    // Battery labels carry the percentage itself, whatever the bar shows.
    QCOMPARE(HUDRules::label(Kind::batteryLow(9), 0.7f), QString("9%"));
    QCOMPARE(HUDRules::label(Kind::batteryPlugged(101), 1.01f), QString("101%"));
    QCOMPARE(HUDRules::accessibleName(Kind::batteryLow(9), 0.7f), QString("Battery low 9%"));
    QCOMPARE(HUDRules::accessibleName(Kind::volume(), 0.5625f), QString("Volume 56%"));

    QVERIFY(Kind::batteryLow(9) == Kind::batteryLow(9));
    QVERIFY(!(Kind::batteryLow(9) == Kind::batteryLow(8)));
    QVERIFY(!(Kind::batteryLow(9) == Kind::batteryUnplugged(9)));
}

void TestHUDRules::barValueFollowsTheKind() {
    QCOMPARE(HUDRules::barValue(Kind::batteryLow(9), 0.8f, false, 0.3f), 0.09f);
    QCOMPARE(HUDRules::barValue(Kind::volume(), 0.8f, false, 0.3f), 0.8f);
    // Muted shows an empty bar whatever the stored volume.
    QCOMPARE(HUDRules::barValue(Kind::volume(), 0.8f, true, 0.3f), 0.0f);
    QCOMPARE(HUDRules::label(Kind::volume(), HUDRules::barValue(Kind::volume(), 0.8f, true, 0)),
             QString("0%"));
    QCOMPARE(HUDRules::barValue(Kind::brightness(), 0.8f, true, 0.3f), 0.3f);
    // Beyond full the bar is full and the label tells the real level.
    QCOMPARE(HUDRules::barValue(Kind::volume(), 1.5f, false, 0), 1.0f);
    QCOMPARE(HUDRules::barValue(Kind::batteryPlugged(101), 0, false, 0), 1.0f);
    QCOMPARE(HUDRules::label(Kind::volume(), HUDRules::level(Kind::volume(), 1.5f, false, 0)),
             QString("150%"));
}

void TestHUDRules::segmentsRoundUpAndWidthsHaveAFloor() {
    QCOMPARE(HUDRules::litSegments(0.01f, 10), 1);
    QCOMPARE(HUDRules::litSegments(0.0f, 10), 0);
    QCOMPARE(HUDRules::litSegments(-0.2f, 10), 0);
    QCOMPARE(HUDRules::litSegments(1.0f, 10), 10);
    QCOMPARE(HUDRules::litSegments(1.7f, 10), 10);
    QCOMPARE(HUDRules::litSegments(0.11f, 10), 2);
    QCOMPARE(HUDRules::litSegments(0.09f, 10), 1);
    QCOMPARE(HUDRules::litSegments(1e-6f, 10), 1);
    // Levels stored a hair above a tenth do not light an extra segment.
    QCOMPARE(HUDRules::litSegments(0.3f, 10), 3);
    QCOMPARE(HUDRules::litSegments(0.7f, 10), 7);
    QCOMPARE(HUDRules::litSegments(0.5625f, 10), 6);

    QCOMPARE(HUDRules::segmentWidth(98, 10, 2), 8.0);
    QCOMPARE(HUDRules::segmentWidth(20, 10, 2), 2.0);
    QCOMPARE(HUDRules::segmentWidth(0, 10, 2), 2.0);
    QCOMPARE(HUDRules::segmentWidth(10, 1, 2), 10.0);
}

void TestHUDRules::stateNotifiesOnlyRealChanges() {
    HUDState hud;
    QCOMPARE(hud.kind(), Kind::volume());
    QVERIFY(!hud.active());
    QCOMPARE(hud.bump(), 0);
    QSignalSpy kinds(&hud, &HUDState::kindChanged);
    QSignalSpy actives(&hud, &HUDState::activeChanged);
    QSignalSpy bumps(&hud, &HUDState::bumpChanged);
    hud.setKind(Kind::volume());
    hud.setKind(Kind::batteryLow(9));
    hud.setKind(Kind::batteryLow(9));
    hud.setKind(Kind::batteryLow(8));
    hud.setActive(false);
    hud.setActive(true);
    hud.setActive(true);
    hud.incrementBump();
    hud.incrementBump();
    QCOMPARE(kinds.count(), 2);
    QCOMPARE(actives.count(), 1);
    QCOMPARE(bumps.count(), 2);
    QCOMPARE(hud.bump(), 2);
    QCOMPARE(hud.property("kind").value<HUDKind>().percentage(), 8);
}

void TestHUDRules::keyDecodingSwallowsOnlyOurKeyDowns() {
    using MediaKeys::auxKeyEvent;
    using MediaKeys::decode;
    using MediaKeys::Key;
    const quint32 down = MediaKeys::keyDownState, up = MediaKeys::keyUpState;
    QCOMPARE(decode(auxKeyEvent(0, down)), std::optional(Key::volumeUp));
    QCOMPARE(decode(auxKeyEvent(1, down)), std::optional(Key::volumeDown));
    QCOMPARE(decode(auxKeyEvent(2, down)), std::optional(Key::brightnessUp));
    QCOMPARE(decode(auxKeyEvent(3, down)), std::optional(Key::brightnessDown));
    QCOMPARE(decode(auxKeyEvent(7, down)), std::optional(Key::mute));
    // Held keys repeat as key-downs with the repeat flag, and each one counts.
    QCOMPARE(decode(auxKeyEvent(1, down, MediaKeys::autoRepeatFlag)),
             std::optional(Key::volumeDown));
    QVERIFY(!decode(auxKeyEvent(0, up)));
    // Play/pause, next, previous, keyboard illumination pass on.
    for (quint32 code : {4u, 5u, 6u, 16u, 17u, 19u, 20u, 21u, 22u, 23u})
        QVERIFY2(!decode(auxKeyEvent(code, down)), qPrintable(QString::number(code)));
    QVERIFY(!decode({MediaKeys::systemDefinedType, 7, (0u << 16) | (down << 8)}));
    QVERIFY(!decode({10, MediaKeys::auxControlButtonsSubtype, (0u << 16) | (down << 8)}));
    // The state is the whole second byte, not a bit of it.
    QVERIFY(!decode(auxKeyEvent(0, 0x1A)));
}

void TestHUDRules::batteryLevelTruncates() {
    QCOMPARE(BatteryRules::level(57, 100), 57);
    QCOMPARE(BatteryRules::level(2999, 3000), 99);
    QCOMPARE(BatteryRules::level(50, 0), 0);
    QCOMPARE(BatteryRules::level(50, -3), 0);
    QCOMPARE(BatteryRules::level(3300, 3000), 110);
}

void TestHUDRules::batteryWalkFiresEachThresholdOncePerDischarge() {
    BatteryRules::Memory m;
    QCOMPARE(BatteryRules::walk(m, 50, true, true), none);
    QVERIFY(!m.lastLowThresholdFired);
    QCOMPARE(BatteryRules::walk(m, 50, false, false), unplugged);
    QCOMPARE(BatteryRules::walk(m, 50, false, false), none);
    QCOMPARE(BatteryRules::walk(m, 25, false, false), none);
    // Straight from 25 to 8: 20 now, 10 at the next reading, nothing after that.
    QCOMPARE(BatteryRules::walk(m, 8, false, false), low(8));
    QCOMPARE(m.lastLowThresholdFired, std::optional(20));
    QCOMPARE(BatteryRules::walk(m, 8, false, false), low(8));
    QCOMPARE(BatteryRules::walk(m, 8, false, false), none);
    QCOMPARE(BatteryRules::walk(m, 5, false, false), low(5));
    QCOMPARE(BatteryRules::walk(m, 2, false, false), none);
    // Plugging back in clears the memory; the next discharge reports again.
    QCOMPARE(BatteryRules::walk(m, 2, true, false), plugged);
    QVERIFY(!m.lastLowThresholdFired);
    QCOMPARE(BatteryRules::walk(m, 19, true, false), none);
    QCOMPARE(BatteryRules::walk(m, 19, false, false),
             (std::vector<Event>{{Event::Kind::unplugged}, {Event::Kind::low, 19}}));
    QCOMPARE(BatteryRules::walk(m, 19, false, false), none);
    QCOMPARE(BatteryRules::walk(m, 20, false, false), none);
}

void TestHUDRules::batteryStartAtEightPercentPrimesTwenty() {
    BatteryRules::Memory m;
    QCOMPARE(BatteryRules::walk(m, 8, false, true), none);
    QCOMPARE(m.lastLowThresholdFired, std::optional(20));
    QCOMPARE(m.lastPlugged, std::optional(false));
    QCOMPARE(BatteryRules::walk(m, 8, false, false), low(8));
    QCOMPARE(m.lastLowThresholdFired, std::optional(10));

    BatteryRules::Memory above;
    BatteryRules::walk(above, 21, false, true);
    QVERIFY(!above.lastLowThresholdFired);
    BatteryRules::Memory exactly;
    BatteryRules::walk(exactly, 20, false, true);
    QCOMPARE(exactly.lastLowThresholdFired, std::optional(20));
    QCOMPARE(BatteryRules::walk(exactly, 20, false, false), none);
}

QTEST_GUILESS_MAIN(TestHUDRules)
#include "tst_hud_rules.moc"
