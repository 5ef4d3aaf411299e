// SPDX-License-Identifier: MIT
#include <QtTest>

#include "HUD/BatteryRules.h"
#include "HUD/HUDRules.h"
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
    void symbolsTintsAndLabels() {
        const struct {
            Kind kind;
            float value;
            const char *symbol, *label, *accessible;
            bool warning;
        } rows[] = {
            {Kind::volume(), 0.5625f, "speaker.wave.2.fill", "56%", "Volume 56%", false},
            {Kind::volume(), 1.0f, "speaker.wave.2.fill", "100%", "Volume 100%", false},
            {Kind::brightness(), 0.125f, "sun.max.fill", "13%", "Brightness 13%", false},
            {Kind::batteryPlugged(101), 1.01f, "bolt.fill", "101%", "Battery charging 101%", false},
            {Kind::batteryUnplugged(9), 0.09f, "battery.100", "9%", "Battery 9%", false},
            // Battery labels carry the percentage itself, whatever the bar shows.
            {Kind::batteryLow(9), 0.7f, "battery.25", "9%", "Battery low 9%", true},
        };
        for (const auto& row : rows) {
            const QString what = QString("%1 %2").arg(row.symbol).arg(row.value);
            QVERIFY2(HUDRules::symbolName(row.kind) == row.symbol, qPrintable(what));
            QVERIFY2(HUDRules::label(row.kind, row.value) == row.label, qPrintable(what));
            QVERIFY2(HUDRules::isWarning(row.kind) == row.warning, qPrintable(what));
            QVERIFY2(HUDRules::accessibleName(row.kind, row.value) == row.accessible,
                     qPrintable(what));
        }
        // A kind is its percentage too, so a new level reaches the views.
        QVERIFY(!(Kind::batteryLow(9) == Kind::batteryUnplugged(9)));
        QVERIFY(!(Kind::batteryLow(9) == Kind::batteryLow(8)));
    }

    void barValueFollowsTheKind() {
        QCOMPARE(HUDRules::barValue(Kind::batteryLow(9), 0.8f, false, 0.3f), 0.09f);
        QCOMPARE(HUDRules::barValue(Kind::volume(), 0.8f, false, 0.3f), 0.8f);
        // Muted shows an empty bar whatever the stored volume.
        QCOMPARE(HUDRules::barValue(Kind::volume(), 0.8f, true, 0.3f), 0.0f);
        QCOMPARE(HUDRules::barValue(Kind::brightness(), 0.8f, true, 0.3f), 0.3f);
        // Beyond full the bar is full and the label tells the real level.
        QCOMPARE(HUDRules::barValue(Kind::volume(), 1.5f, false, 0), 1.0f);
        QCOMPARE(HUDRules::barValue(Kind::batteryPlugged(101), 0, false, 0), 1.0f);
        QCOMPARE(HUDRules::label(Kind::volume(), HUDRules::level(Kind::volume(), 1.5f, false, 0)),
                 QString("150%"));
    }

    void segmentsRoundUpAndWidthsHaveAFloor() {
        // Levels stored a hair above a tenth (0.3, 0.7) do not light an extra segment.
        const std::pair<float, int> rows[] = {{0.01f, 1}, {0.0f, 0},  {-0.2f, 0},  {1.0f, 10},
                                              {1.7f, 10}, {0.11f, 2}, {0.09f, 1},  {1e-6f, 1},
                                              {0.3f, 3},  {0.7f, 7},  {0.5625f, 6}};
        for (const auto& [value, lit] : rows)
            QVERIFY2(HUDRules::litSegments(value, 10) == lit, qPrintable(QString::number(value)));
        QCOMPARE(HUDRules::segmentWidth(98, 10, 2), 8.0);
        QCOMPARE(HUDRules::segmentWidth(20, 10, 2), 2.0);
        QCOMPARE(HUDRules::segmentWidth(0, 10, 2), 2.0);
        QCOMPARE(HUDRules::segmentWidth(10, 1, 2), 10.0);
    }

    void keyDecodingSwallowsOnlyOurKeyDowns() {
        using MediaKeys::auxKeyEvent;
        using MediaKeys::decode;
        using MediaKeys::Key;
        const quint32 down = MediaKeys::keyDownState, up = MediaKeys::keyUpState;
        for (const auto& [code, key] : {std::pair{0u, Key::volumeUp},
                                        {1u, Key::volumeDown},
                                        {2u, Key::brightnessUp},
                                        {3u, Key::brightnessDown},
                                        {7u, Key::mute}})
            QCOMPARE(decode(auxKeyEvent(code, down)), std::optional(key));
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

    void batteryLevelTruncates() {
        for (const auto& [current, max, level] : {std::tuple{57, 100, 57},
                                                  {2999, 3000, 99},
                                                  {50, 0, 0},
                                                  {50, -3, 0},
                                                  {3300, 3000, 110}})
            QCOMPARE(BatteryRules::level(current, max), level);
    }

    void batteryWalkFiresEachThresholdOncePerDischarge() {
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

    void batteryStartAtEightPercentPrimesTwenty() {
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
};

QTEST_GUILESS_MAIN(TestHUDRules)
#include "tst_hud_rules.moc"
