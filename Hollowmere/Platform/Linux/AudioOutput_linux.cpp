// SPDX-License-Identifier: MIT
// The default PulseAudio (or PipeWire-Pulse) sink through libpulse's threaded main loop. The main
// thread never waits for the server: everything is asynchronous. The loop's thread keeps a mirror
// of the server info and of the sinks in use, refreshed on the server's change events; reads come
// from the mirror and writes are sent without waiting for their answer, so a server that stops
// answering (stopped, swapping, stuck) cannot freeze the caller. Device ids are sink indexes plus
// one, since 0 means none.
#include "Platform/AudioOutput.h"

#include <QDebug>
#include <QTimer>

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace {

// Retries start quickly (a restarting server is back in a moment) and back off on a machine that
// has no server at all.
constexpr int firstRetryMs = 2000;
constexpr int longestRetryMs = 60000;

class PulseAudioOutput final : public AudioOutput {
public:
    PulseAudioOutput();
    ~PulseAudioOutput() override;

    std::optional<DeviceId> defaultDevice() override;
    std::optional<float> mainVolume(DeviceId device) override;
    std::optional<float> firstChannelVolume(DeviceId device) override;
    std::optional<bool> isMuted(DeviceId device) override;
    bool setMainVolume(DeviceId device, float value) override;
    bool setMuted(DeviceId device, bool muted) override;
    void watch(DeviceId device) override;

private:
    struct Sink {
        pa_cvolume volume{};
        bool muted = false;
    };
    // Holds the main-loop lock for a scope. The loop's thread holds it only while it runs a
    // callback, never while it waits for the server, so taking it is always brief.
    struct Lock {
        explicit Lock(pa_threaded_mainloop* m) : ml(m) { pa_threaded_mainloop_lock(ml); }
        ~Lock() { pa_threaded_mainloop_unlock(ml); }
        pa_threaded_mainloop* ml;
    };

    // Main thread.
    void connectToServer();
    void disconnectFromServer();
    void scheduleReconnect();
    void connectionFailed();
    std::optional<Sink> mirroredSink(DeviceId device);

    // The loop's thread, lock held.
    bool current(pa_context* c) const { return c && c == m_context; }
    void requestServerInfo();
    void requestSink(uint32_t index);
    void post(void (AudioOutput::*signal)());
    static void onState(pa_context* c, void* self);
    static void onEvent(pa_context* c, pa_subscription_event_type_t t, uint32_t idx, void* self);
    static void onServerInfo(pa_context* c, const pa_server_info* info, void* self);
    static void onDefaultSink(pa_context* c, const pa_sink_info* info, int eol, void* self);
    static void onSink(pa_context* c, const pa_sink_info* info, int eol, void* self);
    static void onWritten(pa_context* c, int success, void* self);

    pa_threaded_mainloop* m_loop = nullptr;

    // Guarded by the main-loop lock.
    pa_context* m_context = nullptr;
    bool m_ready = false;
    // The server's default sink, once its info has arrived: nullopt while unknown, 0 for none.
    std::optional<DeviceId> m_default;
    std::map<uint32_t, Sink> m_sinks; // by index: the default sink and the watched ones
    std::set<uint32_t> m_watched;

    // Main thread only.
    bool m_everConnected = false;
    bool m_saidMissing = false;
    bool m_connected = false;
    bool m_reconnectPending = false;
    int m_retryMs = firstRetryMs;
};

PulseAudioOutput::PulseAudioOutput() {
    m_loop = pa_threaded_mainloop_new();
    if (!m_loop || pa_threaded_mainloop_start(m_loop) < 0) {
        qWarning().noquote() << "Hollowmere: cannot start the PulseAudio client loop";
        if (m_loop)
            pa_threaded_mainloop_free(m_loop);
        m_loop = nullptr;
        return;
    }
    connectToServer();
}

PulseAudioOutput::~PulseAudioOutput() {
    if (!m_loop)
        return;
    disconnectFromServer();
    // Joins the loop's thread: no callback runs after this.
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(m_loop);
}

void PulseAudioOutput::connectToServer() {
    Lock lock(m_loop);
    m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), "Hollowmere");
    if (!m_context) {
        QMetaObject::invokeMethod(
            this, [this] { connectionFailed(); }, Qt::QueuedConnection);
        return;
    }
    pa_context_set_state_callback(m_context, &PulseAudioOutput::onState, this);
    pa_context_set_subscribe_callback(m_context, &PulseAudioOutput::onEvent, this);
    // Returns at once; the outcome arrives through onState. A missing socket fails here.
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        pa_context_unref(m_context);
        m_context = nullptr;
        QMetaObject::invokeMethod(
            this, [this] { connectionFailed(); }, Qt::QueuedConnection);
    }
}

void PulseAudioOutput::disconnectFromServer() {
    Lock lock(m_loop);
    m_ready = false;
    m_default.reset();
    m_sinks.clear();
    if (!m_context)
        return;
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
    m_context = nullptr;
}

void PulseAudioOutput::connectionFailed() {
    // Said once per loss, and once while no server has ever been seen; not at every retry.
    if (m_connected) {
        qWarning().noquote() << "Hollowmere: lost the PulseAudio server, retrying";
    } else if (!m_everConnected && !m_saidMissing) {
        qWarning().noquote()
            << "Hollowmere: no PulseAudio server yet; volume follows once one runs";
        m_saidMissing = true;
    }
    m_connected = false;
    scheduleReconnect();
}

void PulseAudioOutput::scheduleReconnect() {
    if (m_reconnectPending || !m_loop)
        return;
    m_reconnectPending = true;
    QTimer::singleShot(m_retryMs, this, [this] {
        m_reconnectPending = false;
        m_retryMs = std::min(m_retryMs * 2, longestRetryMs);
        disconnectFromServer();
        connectToServer();
    });
}

void PulseAudioOutput::post(void (AudioOutput::*signal)()) {
    QMetaObject::invokeMethod(
        this, [this, signal] { emit(this->*signal)(); }, Qt::QueuedConnection);
}

void PulseAudioOutput::onState(pa_context* c, void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    if (!out->current(c))
        return;
    const pa_context_state_t state = pa_context_get_state(c);
    if (state == PA_CONTEXT_READY) {
        out->m_ready = true;
        const auto mask =
            pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER);
        if (pa_operation* op = pa_context_subscribe(c, mask, nullptr, nullptr))
            pa_operation_unref(op);
        out->requestServerInfo();
        for (uint32_t index : out->m_watched)
            out->requestSink(index);
        QMetaObject::invokeMethod(
            out,
            [out] {
                out->m_connected = out->m_everConnected = true;
                out->m_retryMs = firstRetryMs;
            },
            Qt::QueuedConnection);
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        out->m_ready = false;
        out->m_default.reset();
        out->m_sinks.clear();
        QMetaObject::invokeMethod(
            out, [out] { out->connectionFailed(); }, Qt::QueuedConnection);
    }
}

void PulseAudioOutput::requestServerInfo() {
    if (pa_operation* op =
            pa_context_get_server_info(m_context, &PulseAudioOutput::onServerInfo, this))
        pa_operation_unref(op);
}

void PulseAudioOutput::requestSink(uint32_t index) {
    if (pa_operation* op =
            pa_context_get_sink_info_by_index(m_context, index, &PulseAudioOutput::onSink, this))
        pa_operation_unref(op);
}

void PulseAudioOutput::onServerInfo(pa_context* c, const pa_server_info* info, void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    if (!out->current(c) || !info) // no answer in time: the mirror keeps what it knew
        return;
    if (!info->default_sink_name || !*info->default_sink_name) {
        out->m_default = DeviceId(0);
        out->post(&AudioOutput::defaultDeviceChanged);
        return;
    }
    if (pa_operation* op = pa_context_get_sink_info_by_name(c, info->default_sink_name,
                                                            &PulseAudioOutput::onDefaultSink, out))
        pa_operation_unref(op);
}

void PulseAudioOutput::onDefaultSink(pa_context* c, const pa_sink_info* info, int eol, void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    if (!out->current(c))
        return;
    if (eol == 0 && info) {
        out->m_sinks[info->index] = Sink{info->volume, info->mute != 0};
        out->m_default = DeviceId(info->index + 1);
        out->post(&AudioOutput::defaultDeviceChanged);
    } else if (eol < 0 && pa_context_errno(c) == PA_ERR_NOENTITY) {
        // The named sink is gone already; the next server event names another.
        out->m_default = DeviceId(0);
        out->post(&AudioOutput::defaultDeviceChanged);
    }
}

void PulseAudioOutput::onSink(pa_context* c, const pa_sink_info* info, int eol, void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    if (!out->current(c) || eol != 0 || !info)
        return;
    out->m_sinks[info->index] = Sink{info->volume, info->mute != 0};
    if (out->m_watched.count(info->index))
        out->post(&AudioOutput::valuesChanged);
}

void PulseAudioOutput::onEvent(pa_context* c, pa_subscription_event_type_t t, uint32_t idx,
                               void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    if (!out->current(c))
        return;
    const auto facility = t & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const auto type = t & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (facility == PA_SUBSCRIPTION_EVENT_SERVER) {
        out->requestServerInfo();
    } else if (facility == PA_SUBSCRIPTION_EVENT_SINK && out->m_watched.count(idx)) {
        if (type == PA_SUBSCRIPTION_EVENT_REMOVE) {
            out->m_sinks.erase(idx);
            out->post(&AudioOutput::valuesChanged);
        } else {
            out->requestSink(idx);
        }
    }
}

void PulseAudioOutput::onWritten(pa_context* c, int success, void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    // A write the server refused or never answered; what it holds arrives as events anyway.
    if (out->current(c) && !success)
        qWarning().noquote() << "Hollowmere: PulseAudio did not take a volume change:"
                             << pa_strerror(pa_context_errno(c));
}

std::optional<AudioOutput::DeviceId> PulseAudioOutput::defaultDevice() {
    if (!m_loop)
        return std::nullopt;
    Lock lock(m_loop);
    return m_ready ? m_default : std::nullopt;
}

std::optional<PulseAudioOutput::Sink> PulseAudioOutput::mirroredSink(DeviceId device) {
    if (!m_loop || device == 0)
        return std::nullopt;
    Lock lock(m_loop);
    const auto it = m_sinks.find(device - 1);
    if (!m_ready || it == m_sinks.end())
        return std::nullopt;
    return it->second;
}

// The real level: above 1 when the sink is amplified beyond 100%.
float toScalar(pa_volume_t v) {
    return float(double(v) / double(PA_VOLUME_NORM));
}

std::optional<float> PulseAudioOutput::mainVolume(DeviceId device) {
    const auto sink = mirroredSink(device);
    if (!sink || !pa_cvolume_valid(&sink->volume))
        return std::nullopt;
    return toScalar(pa_cvolume_max(&sink->volume));
}

std::optional<float> PulseAudioOutput::firstChannelVolume(DeviceId device) {
    const auto sink = mirroredSink(device);
    if (!sink || sink->volume.channels == 0)
        return std::nullopt;
    return toScalar(sink->volume.values[0]);
}

std::optional<bool> PulseAudioOutput::isMuted(DeviceId device) {
    const auto sink = mirroredSink(device);
    if (!sink)
        return std::nullopt;
    return sink->muted;
}

bool PulseAudioOutput::setMainVolume(DeviceId device, float value) {
    if (!m_loop || device == 0)
        return false;
    Lock lock(m_loop);
    const auto it = m_sinks.find(device - 1);
    if (!m_ready || it == m_sinks.end() || !pa_cvolume_valid(&it->second.volume))
        return false;
    // Scaling keeps the balance between channels.
    pa_cvolume volume = it->second.volume;
    const double raw = std::max(0.0, double(value)) * PA_VOLUME_NORM;
    pa_cvolume_scale(&volume, pa_volume_t(std::min(std::lround(raw), long(PA_VOLUME_MAX))));
    pa_operation* op = pa_context_set_sink_volume_by_index(m_context, device - 1, &volume,
                                                           &PulseAudioOutput::onWritten, this);
    if (op)
        pa_operation_unref(op);
    return op != nullptr;
}

bool PulseAudioOutput::setMuted(DeviceId device, bool muted) {
    if (!m_loop || device == 0)
        return false;
    Lock lock(m_loop);
    if (!m_ready)
        return false;
    pa_operation* op = pa_context_set_sink_mute_by_index(m_context, device - 1, muted ? 1 : 0,
                                                         &PulseAudioOutput::onWritten, this);
    if (op)
        pa_operation_unref(op);
    return op != nullptr;
}

void PulseAudioOutput::watch(DeviceId device) {
    if (!m_loop || device == 0)
        return;
    Lock lock(m_loop);
    m_watched.insert(device - 1);
    // Fresh values for it, whatever the mirror held before it was watched.
    if (m_ready)
        requestSink(device - 1);
}

} // namespace

std::unique_ptr<AudioOutput> makeAudioOutput() {
    return std::make_unique<PulseAudioOutput>();
}
