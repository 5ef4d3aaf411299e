// SPDX-License-Identifier: MIT
#include "Platform/Linux/X11Desktop_linux.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QSet>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <poll.h>
#include <string>

namespace X11Desktop {

namespace {

using Clock = std::chrono::steady_clock;

template <typename T> using Reply = std::unique_ptr<T, decltype(&std::free)>;
template <typename T> Reply<T> reply(T* r) {
    return Reply<T>(r, &std::free);
}

constexpr uint32_t returnKeysym = 0xff0d;
constexpr uint32_t tabKeysym = 0xff09;
constexpr uint32_t shiftKeysym = 0xffe1;
// A pager asked: window managers honour it without focus-stealing rules.
constexpr uint32_t sourcePager = 2;

class Connection {
public:
    Connection() {
        int screen = 0;
        m_c = xcb_connect(nullptr, &screen);
        if (xcb_connection_has_error(m_c))
            return;
        auto it = xcb_setup_roots_iterator(xcb_get_setup(m_c));
        for (int i = 0; i < screen && it.rem; ++i)
            xcb_screen_next(&it);
        if (it.rem)
            m_root = it.data->root;
    }
    ~Connection() { xcb_disconnect(m_c); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    explicit operator bool() const { return !xcb_connection_has_error(m_c) && m_root; }
    xcb_connection_t* get() const { return m_c; }
    xcb_window_t root() const { return m_root; }

    // Atoms never change on a server: each is asked for once per connection.
    xcb_atom_t atom(const char* name) {
        if (const auto known = m_atoms.find(name); known != m_atoms.end())
            return known->second;
        auto r = reply(xcb_intern_atom_reply(
            m_c, xcb_intern_atom(m_c, 0, uint16_t(strlen(name)), name), nullptr));
        const xcb_atom_t atom = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
        if (atom != XCB_ATOM_NONE)
            m_atoms.emplace(name, atom);
        return atom;
    }

    // Events selected for a wait and left unread afterwards are dropped.
    void drainEvents() {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_c))
            std::free(event);
    }

    // Every 32-bit item of a property; empty when it is missing or of another format.
    std::vector<uint32_t> items(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) {
        auto r = reply(xcb_get_property_reply(
            m_c, xcb_get_property(m_c, 0, window, property, type, 0, 8192), nullptr));
        if (!r || r->format != 32)
            return {};
        const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(r.get()));
        return std::vector<uint32_t>(data, data + xcb_get_property_value_length(r.get()) / 4);
    }

    std::optional<uint64_t> activeWindow() {
        auto r = reply(xcb_get_property_reply(
            m_c,
            xcb_get_property(m_c, 0, m_root, atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 0, 1),
            nullptr));
        if (!r || r->format != 32 || xcb_get_property_value_length(r.get()) != 4)
            return std::nullopt;
        const uint32_t window = *static_cast<const uint32_t*>(xcb_get_property_value(r.get()));
        return window ? std::optional<uint64_t>(window) : std::nullopt;
    }

    // A round trip: everything sent before it has reached the server.
    void sync() { std::free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr)); }

private:
    xcb_connection_t* m_c = nullptr;
    xcb_window_t m_root = 0;
    std::map<std::string, xcb_atom_t> m_atoms;
};

// One connection per thread (the focus worker), made again when the server dropped it: a jump
// then costs its requests, not a connection set-up each.
Connection& connection() {
    thread_local std::unique_ptr<Connection> x;
    if (!x || !*x)
        x = std::make_unique<Connection>();
    x->drainEvents();
    return *x;
}

QString textOf(xcb_get_property_reply_t* r) {
    if (!r || r->format != 8)
        return {};
    return QString::fromUtf8(static_cast<const char*>(xcb_get_property_value(r)),
                             xcb_get_property_value_length(r));
}

uint32_t keysymFor(char32_t c) {
    if (c == U'\n' || c == U'\r')
        return returnKeysym;
    if (c == U'\t')
        return tabKeysym;
    if ((c >= 0x20 && c <= 0x7e) || (c >= 0xa0 && c <= 0xff))
        return uint32_t(c);
    return 0x01000000u | uint32_t(c);
}

// Keycodes no physical key sends that we mapped to a symbol the keymap lacks. They stay mapped:
// a client reads the keymap only when it handles the key, so undoing the change right after
// typing would race it. Later lines reuse them, least recently used first.
struct BorrowedKeys {
    std::mutex mutex;
    std::deque<std::pair<xcb_keycode_t, uint32_t>> order; // key and symbol, least recent first
};
BorrowedKeys& borrowedKeys() {
    static BorrowedKeys keys;
    return keys;
}

// The keyboard as the server maps it, with keys borrowed for symbols it has no key for.
class Keyboard {
public:
    explicit Keyboard(Connection& x) : m_x(x) {
        const xcb_setup_t* setup = xcb_get_setup(x.get());
        m_min = setup->min_keycode;
        const uint8_t count = uint8_t(setup->max_keycode - setup->min_keycode + 1);
        auto r = reply(xcb_get_keyboard_mapping_reply(
            x.get(), xcb_get_keyboard_mapping(x.get(), m_min, count), nullptr));
        if (!r)
            return;
        m_perKey = r->keysyms_per_keycode;
        const auto* syms = xcb_get_keyboard_mapping_keysyms(r.get());
        m_syms.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(r.get()));
    }

    bool valid() const { return m_perKey > 0 && !m_syms.empty(); }

    struct Key {
        xcb_keycode_t code = 0;
        bool shift = false;
    };
    std::optional<Key> key(uint32_t keysym) const {
        const uint32_t lower = keysym < 0x100 ? uint32_t(QChar::toLower(keysym)) : keysym;
        for (size_t k = 0; k * m_perKey < m_syms.size(); ++k) {
            const uint32_t plain = m_syms[k * m_perKey];
            const uint32_t shifted = m_perKey > 1 ? m_syms[k * m_perKey + 1] : 0;
            const auto code = xcb_keycode_t(m_min + k);
            if (plain == keysym)
                return Key{code, false};
            if (shifted == keysym || (shifted == 0 && lower != keysym && plain == lower))
                return Key{code, true};
        }
        return std::nullopt;
    }

    // Maps every symbol of `keysyms` that has no key to a key of its own, before any is typed.
    bool borrowFor(const std::vector<uint32_t>& keysyms) {
        std::vector<uint32_t> missing;
        for (uint32_t keysym : keysyms) {
            if (!key(keysym) && std::find(missing.begin(), missing.end(), keysym) == missing.end())
                missing.push_back(keysym);
        }
        if (missing.empty())
            return true;
        BorrowedKeys& borrowed = borrowedKeys();
        std::lock_guard lock(borrowed.mutex);
        // A key we borrowed is ours again only while it still holds our symbol (a new layout
        // may have given it a meaning); keys no layout uses are added.
        std::erase_if(borrowed.order, [&](const auto& b) { return !holdsOnly(b.first, b.second); });
        for (size_t k = m_syms.size() / m_perKey; k-- > 0;) {
            const auto code = xcb_keycode_t(m_min + k);
            if (holdsOnly(code, 0) &&
                std::find_if(borrowed.order.begin(), borrowed.order.end(), [&](const auto& b) {
                    return b.first == code;
                }) == borrowed.order.end())
                borrowed.order.emplace_front(code, 0);
        }
        if (borrowed.order.size() < missing.size())
            return false;
        for (uint32_t keysym : missing) {
            const xcb_keycode_t code = borrowed.order.front().first;
            borrowed.order.pop_front();
            borrowed.order.emplace_back(code, keysym);
            std::vector<uint32_t> syms(m_perKey, keysym);
            xcb_change_keyboard_mapping(m_x.get(), 1, code, m_perKey, syms.data());
            std::copy(syms.begin(), syms.end(), m_syms.begin() + long((code - m_min) * m_perKey));
        }
        m_x.sync();
        return true;
    }

private:
    bool holdsOnly(xcb_keycode_t code, uint32_t keysym) const {
        const auto first = m_syms.begin() + long((code - m_min) * m_perKey);
        return std::all_of(first, first + m_perKey, [&](uint32_t s) { return s == keysym; });
    }

    Connection& m_x;
    xcb_keycode_t m_min = 0;
    uint8_t m_perKey = 0;
    std::vector<uint32_t> m_syms;
};

void fakeKey(Connection& x, xcb_keycode_t code, bool press) {
    xcb_test_fake_input(x.get(), press ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code, XCB_CURRENT_TIME,
                        XCB_NONE, 0, 0, 0);
}

} // namespace

std::vector<TerminalRules::WindowInfo> windows() {
    Connection& x = connection();
    if (!x)
        return {};
    const xcb_atom_t pidAtom = x.atom("_NET_WM_PID");
    const xcb_atom_t nameAtom = x.atom("_NET_WM_NAME");
    const xcb_atom_t utf8 = x.atom("UTF8_STRING");
    const auto clients = x.items(x.root(), x.atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW);
    // All questions first, then all answers: one round trip's wait for the whole list.
    struct Pending {
        xcb_get_property_cookie_t pid, name, legacyName;
    };
    std::vector<Pending> pending;
    for (uint32_t w : clients) {
        pending.push_back(
            {xcb_get_property(x.get(), 0, w, pidAtom, XCB_ATOM_CARDINAL, 0, 1),
             xcb_get_property(x.get(), 0, w, nameAtom, utf8, 0, 1024),
             xcb_get_property(x.get(), 0, w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 0, 1024)});
    }
    std::vector<TerminalRules::WindowInfo> out;
    for (size_t i = 0; i < clients.size(); ++i) {
        TerminalRules::WindowInfo info{clients[i], std::nullopt, {}};
        auto pid = reply(xcb_get_property_reply(x.get(), pending[i].pid, nullptr));
        if (pid && pid->format == 32 && xcb_get_property_value_length(pid.get()) == 4)
            info.pid = int32_t(*static_cast<const uint32_t*>(xcb_get_property_value(pid.get())));
        auto name = reply(xcb_get_property_reply(x.get(), pending[i].name, nullptr));
        auto legacy = reply(xcb_get_property_reply(x.get(), pending[i].legacyName, nullptr));
        info.title = textOf(name.get());
        if (info.title.isEmpty())
            info.title = textOf(legacy.get());
        out.push_back(std::move(info));
    }
    return out;
}

std::optional<uint64_t> topLevelWindow(uint64_t window) {
    Connection& x = connection();
    if (!x)
        return std::nullopt;
    const auto list = x.items(x.root(), x.atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW);
    const QSet<uint32_t> clients(list.begin(), list.end());
    auto current = xcb_window_t(window);
    // A window manager's frame sits between a client and the root.
    for (int depth = 0; current && current != x.root() && depth < 32; ++depth) {
        if (clients.contains(current))
            return current;
        auto tree = reply(xcb_query_tree_reply(x.get(), xcb_query_tree(x.get(), current), nullptr));
        if (!tree)
            return std::nullopt;
        current = tree->parent;
    }
    return std::nullopt;
}

std::optional<uint64_t> activeWindow() {
    Connection& x = connection();
    return x ? x.activeWindow() : std::nullopt;
}

bool activate(uint64_t window, int waitMs) {
    Connection& x = connection();
    if (!x)
        return false;
    // Root property changes wake the wait below; the connection stays, so they are deselected
    // when it ends.
    const uint32_t rootEvents = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(x.get(), x.root(), XCB_CW_EVENT_MASK, &rootEvents);
    const auto deselect = std::unique_ptr<Connection, void (*)(Connection*)>(&x, [](Connection* c) {
        const uint32_t none = XCB_EVENT_MASK_NO_EVENT;
        xcb_change_window_attributes(c->get(), c->root(), XCB_CW_EVENT_MASK, &none);
        xcb_flush(c->get());
    });
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = xcb_window_t(window);
    message.type = x.atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = sourcePager;
    message.data.data32[1] = XCB_CURRENT_TIME;
    message.data.data32[2] = uint32_t(x.activeWindow().value_or(0));
    xcb_send_event(x.get(), 0, x.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(x.get());

    // The answer is the active window itself, read again after each wake-up.
    const auto deadline = Clock::now() + std::chrono::milliseconds(waitMs);
    for (;;) {
        if (x.activeWindow() == window)
            return true;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        pollfd p{xcb_get_file_descriptor(x.get()), POLLIN, 0};
        ::poll(&p, 1, int(left.count()));
        x.drainEvents();
        if (xcb_connection_has_error(x.get()))
            return false;
    }
}

bool typeInto(uint64_t window, const QString& line) {
    Connection& x = connection();
    if (!x)
        return false;
    const xcb_query_extension_reply_t* xtest = xcb_get_extension_data(x.get(), &xcb_test_id);
    if (!xtest || !xtest->present)
        return false;
    Keyboard keyboard(x);
    const auto shift = keyboard.valid() ? keyboard.key(shiftKeysym) : std::nullopt;
    if (!shift)
        return false;
    std::vector<uint32_t> keysyms;
    for (char32_t c : line.toUcs4()) {
        if (c >= 0x20 || c == U'\t' || c == U'\n')
            keysyms.push_back(keysymFor(c));
    }
    keysyms.push_back(returnKeysym);
    if (!keyboard.borrowFor(keysyms))
        return false;
    for (uint32_t keysym : keysyms) {
        // Checked before every key: a window that lost the focus gets nothing more.
        if (x.activeWindow() != window)
            return false;
        const auto key = keyboard.key(keysym);
        if (!key)
            return false;
        if (key->shift)
            fakeKey(x, shift->code, true);
        fakeKey(x, key->code, true);
        fakeKey(x, key->code, false);
        if (key->shift)
            fakeKey(x, shift->code, false);
        x.sync();
    }
    return true;
}

void bell() {
    Connection& x = connection();
    if (!x)
        return;
    xcb_bell(x.get(), 0);
    x.sync();
}

} // namespace X11Desktop
