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
const std::string minimal = R"({"kind":"stop","sessionId":"s1","cwd":"/w","timestamp":0)";
} // namespace

class TestProtocol : public QObject {
    Q_OBJECT
private slots:
    void eventDecodeRules() {
        auto e = HookEvent::decode(minimal + "}");
        QVERIFY(e && e->kind == HookEvent::Kind::stop);
        QCOMPARE(e->sessionId, std::string("s1"));
        QVERIFY(!e->tool && !e->toolInput && !e->message && !e->terminalBundleId);
        QVERIFY(!e->terminalPid && !e->suggestions && !e->claudePid && !e->iTermSessionId);

        // Optional keys may be null; each required key is required, and not null.
        json withNulls = json::parse(minimal + "}");
        for (auto key : {"tool", "toolInput", "message", "terminalBundleId", "terminalPid",
                         "suggestions", "claudePid", "iTermSessionId"})
            withNulls[key] = nullptr;
        auto n = HookEvent::decode(withNulls.dump());
        QVERIFY(n && !n->tool && !n->terminalPid && !n->suggestions && !n->iTermSessionId);
        for (auto key : {"kind", "sessionId", "cwd", "timestamp"}) {
            json j = json::parse(minimal + "}");
            j.erase(key);
            QVERIFY2(!HookEvent::decode(j.dump()), key);
            j[key] = nullptr;
            QVERIFY2(!HookEvent::decode(j.dump()), key);
        }

        const std::string bad[] = {
            R"({"kind":"PreToolUse","sessionId":"s","cwd":"/","timestamp":0})",
            R"({"kind":"Stop","sessionId":"s","cwd":"/","timestamp":0})",
            R"({"kind":"stop","sessionId":5,"cwd":"/","timestamp":0})",
            R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":"now"})",
            minimal + R"(,"terminalPid":"12"})",
            minimal + R"(,"terminalPid":1.5})",
            minimal + R"(,"claudePid":4294967296})",
            minimal + R"(,"claudePid":2147483648})",
            minimal + R"(,"suggestions":[1]})",
            minimal + R"(,"tool":{}})",
            R"(["stop"])",
            "",
            "garbage",
            minimal,
            // Nesting past the bound: whoever prints, copies or compares such a value would
            // recurse once per level.
            minimal + R"(,"x":)" + nested(100000) + "}",
        };
        for (const std::string& text : bad)
            QVERIFY2(!HookEvent::decode(text), text.substr(0, 100).c_str());
        // ...also in the JSON a tool input carries.
        json deepInput = json::parse(minimal + "}");
        deepInput["toolInput"] = R"({"a":)" + nested(64) + "}";
        QVERIFY(!HookEvent::decode(deepInput.dump()));
        deepInput["toolInput"] = R"({"a":)" + nested(63) + "}";
        QVERIFY(HookEvent::decode(deepInput.dump()));

        // Keys we do not know are ignored, not fatal; a Unix time sent by mistake is taken as is.
        for (const std::string& good :
             {minimal + R"(,"x":1})", minimal + R"(,"claudePid":-2147483648})",
              std::string(R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":1700000000})")})
            QVERIFY2(HookEvent::decode(good), good.c_str());
    }

    void eventsEncodeToOneCompactLine() {
        HookEvent e{HookEvent::Kind::permissionRequest,
                    "abc",
                    "/Users/me/app",
                    "Bash",
                    R"({"command":"git status\nls"})",
                    "line1\nline2\r\n\"quoted\"\u2028",
                    785000000.25,
                    "com.googlecode.iterm2",
                    4242,
                    std::vector<std::string>{"yes", "no"},
                    777,
                    "w0t0p0:ABC"};
        std::string wire = e.encode();
        QVERIFY(wire.find('\n') == std::string::npos);
        QVERIFY(wire.find(": ") == std::string::npos);
        QCOMPARE(json::parse(wire)["terminalPid"].get<int>(), 4242);
        QVERIFY(HookEvent::decode(wire) == e);

        // Bytes that are not UTF-8 still make one line that decodes; absent keys are left out.
        HookEvent bare{
            HookEvent::Kind::stop, "s", "/tmp/\xff\xfe-bad\n", {}, {}, {}, 3, {}, {}, {}, {}, {}};
        wire = bare.encode();
        QVERIFY(wire.find('\n') == std::string::npos);
        QVERIFY(HookEvent::decode(wire));
        QCOMPARE(json::parse(wire).size(), size_t(4));
    }

    void decisions() {
        QCOMPARE(HookDecision{}.encode(), std::string(R"({"decision":"passthrough"})"));
        const HookDecision deny{HookDecision::Decision::deny, "User denied", std::nullopt};
        QCOMPARE(deny.encode(), std::string(R"({"decision":"deny","reason":"User denied"})"));
        const HookDecision pick{HookDecision::Decision::approve, std::nullopt, "Option B"};
        QVERIFY(HookDecision::decode(pick.encode()) == pick);

        for (const std::string& bad :
             {std::string(R"({"decision":"allow"})"), std::string(R"({"reason":"x"})"),
              std::string(R"({"decision":"deny","reason":3})"),
              R"({"decision":"deny","x":)" + nested(100000) + "}"})
            QVERIFY2(!HookDecision::decode(bad), bad.substr(0, 100).c_str());
        auto d = HookDecision::decode(R"({"decision":"deny","reason":null,"picked":null})");
        QVERIFY(d && !d->reason && !d->picked);
    }
};

QTEST_APPLESS_MAIN(TestProtocol)
#include "tst_protocol.moc"
