// SPDX-License-Identifier: MIT
// The default PulseAudio (or PipeWire-Pulse) sink through libpulse's threaded main loop. Reads and
// writes are short synchronous round trips from the main thread; the server's change events are
// turned into signals on the main thread. Device ids are sink indexes plus one, since 0 means none.
#include "Platform/AudioOutput.h"

#include <QDebug>
#include <QPointer>
#include <QTimer>

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <mutex>
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
    struct SinkInfo {
        pa_cvolume volume{};
        bool muted = false;
    };
    // Holds the main-loop lock for a scope.
    struct Lock {
        explicit Lock(pa_threaded_mainloop* m) : ml(m) { pa_threaded_mainloop_lock(ml); }
        ~Lock() { pa_threaded_mainloop_unlock(ml); }
        pa_threaded_mainloop* ml;
    };

    bool connectToServer();
    void disconnectFromServer();
    bool ready() const;
    // Waits for an operation under the lock; false when it did not complete.
    bool await(pa_operation* op);
    std::optional<SinkInfo> sink(DeviceId device);
    void scheduleReconnect();

    static void onState(pa_context* c, void* self);
    static void onEvent(pa_context* c, pa_subscription_event_type_t t, uint32_t idx, void* self);
    struct SuccessResult {
        pa_threaded_mainloop* loop;
        bool ok = false;
    };
    static void onSuccess(pa_context* c, int success, void* data);

    pa_threaded_mainloop* m_loop = nullptr;
    pa_context* m_context = nullptr;
    std::set<uint32_t> m_watched; // sink indexes; guarded by the main-loop lock
    bool m_reconnectPending = false;
    // Main thread only.
    bool m_connected = false;
    int m_retryMs = firstRetryMs;
};

PulseAudioOutput::PulseAudioOutput() {
    m_loop = pa_threaded_mainloop_new();
    if (!m_loop || pa_threaded_mainloop_start(m_loop) < 0) {
        qWarning().noquote() << "Hollowmere: cannot start the PulseAudio client loop";
        return;
    }
    m_connected = connectToServer();
    if (!m_connected) {
        qWarning().noquote()
            << "Hollowmere: no PulseAudio server yet; volume follows once one runs";
        scheduleReconnect();
    }
}

PulseAudioOutput::~PulseAudioOutput() {
    if (!m_loop)
        return;
    disconnectFromServer();
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(m_loop);
}

bool PulseAudioOutput::connectToServer() {
    Lock lock(m_loop);
    m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), "Hollowmere");
    if (!m_context)
        return false;
    pa_context_set_state_callback(m_context, &PulseAudioOutput::onState, this);
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        pa_context_unref(m_context);
        m_context = nullptr;
        return false;
    }
    for (;;) {
        const pa_context_state_t state = pa_context_get_state(m_context);
        if (state == PA_CONTEXT_READY)
            break;
        if (!PA_CONTEXT_IS_GOOD(state)) {
            pa_context_disconnect(m_context);
            pa_context_unref(m_context);
            m_context = nullptr;
            return false;
        }
        pa_threaded_mainloop_wait(m_loop);
    }
    pa_context_set_subscribe_callback(m_context, &PulseAudioOutput::onEvent, this);
    const auto mask =
        pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER);
    SuccessResult subscribed{m_loop};
    return await(pa_context_subscribe(m_context, mask, &PulseAudioOutput::onSuccess, &subscribed));
}

void PulseAudioOutput::disconnectFromServer() {
    Lock lock(m_loop);
    if (!m_context)
        return;
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
    m_context = nullptr;
}

bool PulseAudioOutput::ready() const {
    return m_context && pa_context_get_state(m_context) == PA_CONTEXT_READY;
}

void PulseAudioOutput::scheduleReconnect() {
    if (m_reconnectPending || !m_loop)
        return;
    m_reconnectPending = true;
    QTimer::singleShot(m_retryMs, this, [this] {
        m_reconnectPending = false;
        disconnectFromServer();
        m_connected = connectToServer();
        if (m_connected) {
            m_retryMs = firstRetryMs;
            emit defaultDeviceChanged();
        } else {
            m_retryMs = std::min(m_retryMs * 2, longestRetryMs);
            scheduleReconnect();
        }
    });
}

bool PulseAudioOutput::await(pa_operation* op) {
    if (!op)
        return false;
    while (pa_operation_get_state(op) == PA_OPERATION_RUNNING && ready())
        pa_threaded_mainloop_wait(m_loop);
    const bool done = pa_operation_get_state(op) == PA_OPERATION_DONE;
    pa_operation_unref(op);
    return done;
}

void PulseAudioOutput::onState(pa_context* c, void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    pa_threaded_mainloop_signal(out->m_loop, 0);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(c))) {
        QMetaObject::invokeMethod(
            out,
            [out] {
                // Said once per loss, not at every failed retry.
                if (out->m_connected)
                    qWarning().noquote() << "Hollowmere: lost the PulseAudio server, retrying";
                out->m_connected = false;
                out->scheduleReconnect();
            },
            Qt::QueuedConnection);
    }
}

void PulseAudioOutput::onEvent(pa_context*, pa_subscription_event_type_t t, uint32_t idx,
                               void* self) {
    auto* out = static_cast<PulseAudioOutput*>(self);
    const auto facility = t & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    if (facility == PA_SUBSCRIPTION_EVENT_SERVER) {
        QMetaObject::invokeMethod(
            out, [out] { emit out->defaultDeviceChanged(); }, Qt::QueuedConnection);
    } else if (facility == PA_SUBSCRIPTION_EVENT_SINK && out->m_watched.count(idx)) {
        QMetaObject::invokeMethod(
            out, [out] { emit out->valuesChanged(); }, Qt::QueuedConnection);
    }
}

void PulseAudioOutput::onSuccess(pa_context*, int success, void* data) {
    auto* result = static_cast<SuccessResult*>(data);
    result->ok = success != 0;
    pa_threaded_mainloop_signal(result->loop, 0);
}

struct ServerQuery {
    pa_threaded_mainloop* loop;
    std::string defaultSink;
};

struct SinkQuery {
    pa_threaded_mainloop* loop;
    bool found = false;
    uint32_t index = 0;
    pa_cvolume volume{};
    bool muted = false;
};

void onSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* data) {
    auto* q = static_cast<SinkQuery*>(data);
    if (eol == 0 && info) {
        q->found = true;
        q->index = info->index;
        q->volume = info->volume;
        q->muted = info->mute != 0;
    }
    if (eol != 0)
        pa_threaded_mainloop_signal(q->loop, 0);
}

std::optional<AudioOutput::DeviceId> PulseAudioOutput::defaultDevice() {
    if (!m_loop)
        return std::nullopt;
    Lock lock(m_loop);
    if (!ready())
        return std::nullopt;
    ServerQuery server{m_loop, {}};
    auto onServer = [](pa_context*, const pa_server_info* info, void* data) {
        auto* q = static_cast<ServerQuery*>(data);
        if (info && info->default_sink_name)
            q->defaultSink = info->default_sink_name;
        pa_threaded_mainloop_signal(q->loop, 0);
    };
    if (!await(pa_context_get_server_info(m_context, onServer, &server)))
        return std::nullopt;
    if (server.defaultSink.empty())
        return DeviceId(0);
    SinkQuery sink{m_loop};
    if (!await(pa_context_get_sink_info_by_name(m_context, server.defaultSink.c_str(), onSinkInfo,
                                                &sink)))
        return std::nullopt;
    return sink.found ? DeviceId(sink.index + 1) : DeviceId(0);
}

std::optional<PulseAudioOutput::SinkInfo> PulseAudioOutput::sink(DeviceId device) {
    if (!m_loop || device == 0)
        return std::nullopt;
    Lock lock(m_loop);
    if (!ready())
        return std::nullopt;
    SinkQuery q{m_loop};
    if (!await(pa_context_get_sink_info_by_index(m_context, device - 1, onSinkInfo, &q)) ||
        !q.found)
        return std::nullopt;
    return SinkInfo{q.volume, q.muted};
}

float toScalar(pa_volume_t v) {
    return std::min(1.0f, float(double(v) / double(PA_VOLUME_NORM)));
}

std::optional<float> PulseAudioOutput::mainVolume(DeviceId device) {
    const auto info = sink(device);
    if (!info || !pa_cvolume_valid(&info->volume))
        return std::nullopt;
    return toScalar(pa_cvolume_max(&info->volume));
}

std::optional<float> PulseAudioOutput::firstChannelVolume(DeviceId device) {
    const auto info = sink(device);
    if (!info || info->volume.channels == 0)
        return std::nullopt;
    return toScalar(info->volume.values[0]);
}

std::optional<bool> PulseAudioOutput::isMuted(DeviceId device) {
    const auto info = sink(device);
    if (!info)
        return std::nullopt;
    return info->muted;
}

bool PulseAudioOutput::setMainVolume(DeviceId device, float value) {
    auto info = sink(device);
    if (!info || !pa_cvolume_valid(&info->volume))
        return false;
    // Scaling keeps the balance between channels.
    const auto target = pa_volume_t(std::lround(double(value) * PA_VOLUME_NORM));
    pa_cvolume_scale(&info->volume, target);
    Lock lock(m_loop);
    if (!ready())
        return false;
    SuccessResult result{m_loop};
    return await(pa_context_set_sink_volume_by_index(m_context, device - 1, &info->volume,
                                                     &PulseAudioOutput::onSuccess, &result)) &&
           result.ok;
}

bool PulseAudioOutput::setMuted(DeviceId device, bool muted) {
    if (!m_loop || device == 0)
        return false;
    Lock lock(m_loop);
    if (!ready())
        return false;
    SuccessResult result{m_loop};
    return await(pa_context_set_sink_mute_by_index(m_context, device - 1, muted ? 1 : 0,
                                                   &PulseAudioOutput::onSuccess, &result)) &&
           result.ok;
}

void PulseAudioOutput::watch(DeviceId device) {
    if (!m_loop || device == 0)
        return;
    Lock lock(m_loop);
    m_watched.insert(device - 1);
}

} // namespace

std::unique_ptr<AudioOutput> makeAudioOutput() {
    return std::make_unique<PulseAudioOutput>();
}
