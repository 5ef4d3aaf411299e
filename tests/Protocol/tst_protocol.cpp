// SPDX-License-Identifier: MIT
#include <QtTest>

#include <nlohmann/json.hpp>

#include "Protocol.h"

namespace QTest {
template <> inline char* toString(const std::string& s) {
    return qstrdup(s.c_str());
}
} // namespace QTest

using nlohmann::json;

namespace {
std::string nested(size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}
} // namespace

class TestProtocol : public QObject {
    Q_OBJECT
private slots:
    void minimalEventAndAbsentOrNullOptionals();
    void fullEventRoundTripsAndOmitsAbsentKeys();
    void rejectsUnknownKindsAndWrongTypes();
    void datesAreSecondsSince2001();
    void decisionEncodesOnlyWhatItHas();
    void decisionDecodeRules();
    void outputIsOneCompactLineEvenForHostileStrings();
};

void TestProtocol::minimalEventAndAbsentOrNullOptionals() {
    auto e = HookEvent::decode(R"({"kind":"stop","sessionId":"s1","cwd":"/w","timestamp":0})");
    QVERIFY(e);
    QVERIFY(e->kind == HookEvent::Kind::stop);
    QCOMPARE(e->sessionId, std::string("s1"));
    QVERIFY(!e->tool && !e->toolInput && !e->message && !e->terminalBundleId);
    QVERIFY(!e->terminalPid && !e->suggestions && !e->claudePid && !e->iTermSessionId);

    json withNulls =
        json::parse(R"({"kind":"notification","sessionId":"s","cwd":"/","timestamp":1.5})");
    for (auto key : {"tool", "toolInput", "message", "terminalBundleId", "terminalPid",
                     "suggestions", "claudePid", "iTermSessionId"})
        withNulls[key] = nullptr;
    auto n = HookEvent::decode(withNulls.dump());
    QVERIFY(n);
    QVERIFY(!n->tool && !n->terminalPid && !n->suggestions && !n->iTermSessionId);
    QCOMPARE(n->timestamp, 1.5);

    // Each required key is required.
    for (auto key : {"kind", "sessionId", "cwd", "timestamp"}) {
        json j = json::parse(R"({"kind":"stop","sessionId":"s1","cwd":"/w","timestamp":0})");
        j.erase(key);
        QVERIFY2(!HookEvent::decode(j.dump()), key);
        j[key] = nullptr;
        QVERIFY2(!HookEvent::decode(j.dump()), key);
    }
}

void TestProtocol::fullEventRoundTripsAndOmitsAbsentKeys() {
    HookEvent e{HookEvent::Kind::permissionRequest,
                "abc",
                "/Users/me/app",
                "Bash",
                R"({"command":"git status\nls"})",
                std::nullopt,
                785000000.25,
                "com.googlecode.iterm2",
                4242,
                std::vector<std::string>{"yes", "no"},
                777,
                "w0t0p0:ABC"};
    std::string wire = e.encode();
    QVERIFY(wire.find('\n') == std::string::npos);
    json j = json::parse(wire);
    QVERIFY(!j.contains("message"));
    QCOMPARE(j["toolInput"].get<std::string>(), std::string(R"({"command":"git status\nls"})"));
    QCOMPARE(j["terminalPid"].get<int>(), 4242);
    auto back = HookEvent::decode(wire);
    QVERIFY(back);
    QVERIFY(*back == e);

    HookEvent bare{HookEvent::Kind::stop, "s", "/", {}, {}, {}, 3, {}, {}, {}, {}, {}};
    json b = json::parse(bare.encode());
    QCOMPARE(b.size(), size_t(4));
    QCOMPARE(b["kind"].get<std::string>(), std::string("stop"));
}

void TestProtocol::rejectsUnknownKindsAndWrongTypes() {
    const char* bad[] = {
        R"({"kind":"PreToolUse","sessionId":"s","cwd":"/","timestamp":0})",
        R"({"kind":"Stop","sessionId":"s","cwd":"/","timestamp":0})",
        R"({"kind":"stop","sessionId":5,"cwd":"/","timestamp":0})",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":"now"})",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"terminalPid":"12"})",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"terminalPid":1.5})",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"claudePid":4294967296})",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"suggestions":[1]})",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"tool":{}})",
        R"(["stop"])",
        "",
        "garbage",
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0)",
    };
    for (auto text : bad)
        QVERIFY2(!HookEvent::decode(text), text);
    // Nesting past the bound, in the record or in the JSON its tool input carries: whoever
    // prints, copies or compares such a value would recurse once per level.
    const std::string head = R"({"kind":"permissionRequest","sessionId":"s","cwd":"/",)";
    QVERIFY(!HookEvent::decode(head + R"("timestamp":0,"x":)" + nested(100000) + "}"));
    json deepInput = json::parse(head + R"("timestamp":0})");
    deepInput["toolInput"] = R"({"a":)" + nested(64) + "}";
    QVERIFY(!HookEvent::decode(deepInput.dump()));
    deepInput["toolInput"] = R"({"a":)" + nested(63) + "}";
    QVERIFY(HookEvent::decode(deepInput.dump()));
    QVERIFY(!HookDecision::decode(R"({"decision":"deny","x":)" + nested(100000) + "}"));
    // Keys we do not know are ignored, not fatal.
    QVERIFY(HookEvent::decode(R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"x":1})"));
    QVERIFY(HookEvent::decode(
        R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":0,"claudePid":-2147483648})"));
}

void TestProtocol::datesAreSecondsSince2001() {
    using namespace std::chrono;
    auto zero = timePointFromReferenceSeconds(0);
    QCOMPARE(duration_cast<seconds>(zero.time_since_epoch()).count(), 978307200LL);
    // A Unix time sent by mistake lands in the 2050s and is accepted as it is.
    auto e =
        HookEvent::decode(R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":1700000000})");
    QVERIFY(e);
    auto when = timePointFromReferenceSeconds(e->timestamp);
    auto years = duration_cast<hours>(when.time_since_epoch()).count() / (24 * 365.25);
    QVERIFY(years + 1970 > 2050 && years + 1970 < 2060);
    double now = nowSinceReferenceDate();
    QVERIFY(now > 8.0e8 && now < 1.2e9);
}

void TestProtocol::decisionEncodesOnlyWhatItHas() {
    QCOMPARE(HookDecision{}.encode(), std::string(R"({"decision":"passthrough"})"));
    HookDecision deny{HookDecision::Decision::deny, "User denied", std::nullopt};
    json j = json::parse(deny.encode());
    QCOMPARE(j.size(), size_t(2));
    QCOMPARE(j["reason"].get<std::string>(), std::string("User denied"));
    HookDecision pick{HookDecision::Decision::approve, std::nullopt, "Option B"};
    QVERIFY(HookDecision::decode(pick.encode()) == pick);
}

void TestProtocol::decisionDecodeRules() {
    QVERIFY(!HookDecision::decode(R"({"decision":"allow"})"));
    QVERIFY(!HookDecision::decode(R"({"reason":"x"})"));
    QVERIFY(!HookDecision::decode(R"({"decision":"deny","reason":3})"));
    auto d = HookDecision::decode(R"({"decision":"deny","reason":null,"picked":null})");
    QVERIFY(d);
    QVERIFY(!d->reason && !d->picked);
}

void TestProtocol::outputIsOneCompactLineEvenForHostileStrings() {
    HookEvent e;
    e.kind = HookEvent::Kind::notification;
    e.sessionId = "s";
    e.cwd = std::string("/tmp/\xff\xfe-bad-utf8\n");
    e.message = std::string("line1\nline2\r\n\"quoted\"\u2028");
    std::string wire = e.encode();
    QVERIFY(wire.find('\n') == std::string::npos);
    QVERIFY(wire.find(' ') == std::string::npos || wire.find(": ") == std::string::npos);
    auto back = HookEvent::decode(wire);
    QVERIFY(back);
    QCOMPARE(*back->message, *e.message);
}

QTEST_APPLESS_MAIN(TestProtocol)
#include "tst_protocol.moc"
