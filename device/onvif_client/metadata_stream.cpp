#include "onvif_client/metadata_stream.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/rtp/gstrtpbuffer.h>

#include <atomic>
#include <deque>
#include <memory>
#include <stdexcept>
#include <utility>
#include <variant>

#include "base/glib_ptr.h"
#include "base/mutex.h"
#include "onvif_client/gstreamer.h"
#include "onvif_client/metadata_joiner.h"

namespace device::onvif {
namespace {

constexpr std::size_t MOST_WAITING = 10000;  // packets
constexpr guint LOOK = 1000;                 // milliseconds, for silence
constexpr guint LATENCY = 100;               // milliseconds
constexpr guint64 TCP_TIME_OUT = 5000000;    // microseconds
// From 1900, as NTP counts, to 1970.
constexpr std::int64_t NTP_SECONDS = 2208988800LL;

using CapsPtr = std::unique_ptr<GstCaps, GDeleter<gst_caps_unref>>;
using SamplePtr = std::unique_ptr<GstSample, GDeleter<gst_sample_unref>>;
using MessagePtr = std::unique_ptr<GstMessage, GDeleter<gst_message_unref>>;

struct ArrivedPacket {
  MetadataPacket packet;
  std::int64_t time = 0;
  std::optional<std::int64_t> sent;
};
struct SignOfLife {};
using Item = std::variant<ArrivedPacket, SignOfLife, std::string>;  // a text: trouble

// From GStreamer's threads to the main loop's.
class Inbox {
 public:
  void put(Item item) {
    const LockGuard lock(mutex);
    if (items.size() < MOST_WAITING) {
      items.push_back(std::move(item));
    }
  }

  std::deque<Item> take() {
    const LockGuard lock(mutex);
    return std::exchange(items, {});
  }

 private:
  Mutex mutex;
  std::deque<Item> items GUARDED_BY(mutex);
};

std::optional<std::int64_t> sentTime(GstBuffer* buffer, GstCaps* ntp) {
  const auto* meta = gst_buffer_get_reference_timestamp_meta(buffer, ntp);
  if (meta == nullptr) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(meta->timestamp / GST_USECOND) - NTP_SECONDS * G_USEC_PER_SEC;
}

std::optional<MetadataPacket> readPacket(GstBuffer* buffer) {
  GstRTPBuffer rtp = GST_RTP_BUFFER_INIT;
  if (gst_rtp_buffer_map(buffer, GST_MAP_READ, &rtp) == FALSE) {
    return std::nullopt;
  }
  MetadataPacket packet{{static_cast<const char*>(gst_rtp_buffer_get_payload(&rtp)),
                         gst_rtp_buffer_get_payload_len(&rtp)},
                        gst_rtp_buffer_get_marker(&rtp) != FALSE,
                        gst_rtp_buffer_get_seq(&rtp),
                        GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT) &&
                            !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_HEADER)};
  gst_rtp_buffer_unmap(&rtp);
  return packet;
}

const char* textOf(const GstStructure* structure, const char* field) {
  const char* text = gst_structure_get_string(structure, field);
  return text != nullptr ? text : "";
}

}  // namespace

struct MetadataStream::Parts {
  Parts(Callbacks callbacks, std::int64_t silence)
      : callbacks(std::move(callbacks)), silence(silence) {}
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;
  ~Parts() {
    if (pipeline) {
      gst_element_set_state(pipeline.get(), GST_STATE_NULL);  // its threads end
    }
  }

  void build(const std::string& address, const Login& login);
  void wake();
  void handleItems();
  void handle(const ArrivedPacket& arrived);
  void fail(const std::string& words);
  void lookForLife();
  bool askForLife();
  static void lifeAnswered(GstPromise* promise, gpointer waiting);

  static gboolean selectStream(GstElement*, guint, GstCaps* caps, gpointer self);
  static void padAdded(GstElement*, GstPad* pad, gpointer self);
  static void noMorePads(GstElement*, gpointer self);
  static void newManager(GstElement*, GstElement* manager, gpointer self);
  static void reportCame(GstElement*, guint, guint, gpointer self);
  static GstFlowReturn newSample(GstAppSink* sink, gpointer self);
  static gboolean messageCame(GstBus*, GstMessage* message, gpointer self);
  static gboolean woken(gpointer self);
  static gboolean look(gpointer self);

  // Answers come in GStreamer's threads, and perhaps when nobody waits any more.
  using LifeSign = std::shared_ptr<std::atomic<bool>>;

  Callbacks callbacks;
  std::int64_t silence;  // microseconds
  LifeSign hasAnswered = std::make_shared<std::atomic<bool>>(false);
  bool isLifeAsked = false;
  Inbox inbox;
  MetadataJoiner joiner;
  bool isFirst = true;  // whose begin is no gap
  bool hasFailed = false;
  std::int64_t alive = g_get_monotonic_time();
  CapsPtr ntp{gst_caps_new_empty_simple("timestamp/x-ntp")};
  GSourcePtr waker;  // ready whenever something is in the inbox
  GSourcePtr looker;
  GSourcePtr watch;
  GObjectPtr<GstElement> pipeline;
  GstElement* source = nullptr;  // the pipeline's
  GstElement* sink = nullptr;    // the same
};

void MetadataStream::Parts::build(const std::string& address, const Login& login) {
  pipeline.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
  source = gst_element_factory_make("rtspsrc", nullptr);
  sink = gst_element_factory_make("appsink", nullptr);
  if (source == nullptr || sink == nullptr) {
    throw std::runtime_error("GStreamer cannot receive RTSP here");
  }
  gst_bin_add_many(GST_BIN(pipeline.get()), source, sink, nullptr);
  gst_util_set_object_arg(G_OBJECT(source), "protocols", "tcp");
  g_object_set(source, "location", address.c_str(), "latency", LATENCY, "drop-on-latency", FALSE,
               "do-rtsp-keep-alive", TRUE, "tcp-timeout", TCP_TIME_OUT,
               "add-reference-timestamp-meta", TRUE, nullptr);
  if (!login.user.empty()) {
    g_object_set(source, "user-id", login.user.c_str(), "user-pw", login.password.c_str(), nullptr);
  }
  g_object_set(sink, "sync", FALSE, "async", FALSE, nullptr);
  GstAppSinkCallbacks calls{};
  calls.new_sample = newSample;
  gst_app_sink_set_callbacks(GST_APP_SINK(sink), &calls, this, nullptr);
  g_signal_connect(source, "select-stream", G_CALLBACK(selectStream), this);
  g_signal_connect(source, "pad-added", G_CALLBACK(padAdded), this);
  g_signal_connect(source, "no-more-pads", G_CALLBACK(noMorePads), this);
  g_signal_connect(source, "new-manager", G_CALLBACK(newManager), this);

  GMainContext* context = g_main_context_get_thread_default();
  static GSourceFuncs s_wakerFunctions = {nullptr,
                                          nullptr,
                                          [](GSource* waker, GSourceFunc callback, gpointer data) {
                                            g_source_set_ready_time(waker, -1);
                                            return callback(data);
                                          },
                                          nullptr,
                                          nullptr,
                                          nullptr};
  waker.reset(g_source_new(&s_wakerFunctions, sizeof(GSource)));
  g_source_set_callback(waker.get(), woken, this, nullptr);
  g_source_attach(waker.get(), context);
  looker.reset(g_timeout_source_new(LOOK));
  g_source_set_callback(looker.get(), look, this, nullptr);
  g_source_attach(looker.get(), context);
  const GObjectPtr<GstBus> bus(gst_element_get_bus(pipeline.get()));
  watch.reset(gst_bus_create_watch(bus.get()));
  g_source_set_callback(watch.get(), G_SOURCE_FUNC(messageCame), this, nullptr);
  g_source_attach(watch.get(), context);
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
}

// From any thread.
void MetadataStream::Parts::wake() {
  g_source_set_ready_time(waker.get(), 0);
}

gboolean MetadataStream::Parts::selectStream(GstElement*, guint, GstCaps* caps, gpointer data) {
  auto* self = static_cast<Parts*>(data);
  const GstStructure* structure = gst_caps_get_structure(caps, 0);
  const std::string encoding = textOf(structure, "encoding-name");
  const bool isMetadata = std::string(textOf(structure, "media")) == "application" &&
                          encoding.find("METADATA") != std::string::npos;
  if (isMetadata && encoding.find("EXI") != std::string::npos) {
    self->inbox.put(
        "The camera compresses its metadata as EXI, which cannot be read here: switch the "
        "compression of the metadata off in the camera, or choose gzip");
    self->wake();
    return FALSE;
  }
  return isMetadata ? TRUE : FALSE;
}

void MetadataStream::Parts::padAdded(GstElement*, GstPad* pad, gpointer data) {
  const auto* self = static_cast<Parts*>(data);
  const GObjectPtr<GstPad> entry(gst_element_get_static_pad(self->sink, "sink"));
  if (gst_pad_is_linked(entry.get()) == FALSE) {
    gst_pad_link(pad, entry.get());
  }
}

void MetadataStream::Parts::noMorePads(GstElement*, gpointer data) {
  auto* self = static_cast<Parts*>(data);
  const GObjectPtr<GstPad> entry(gst_element_get_static_pad(self->sink, "sink"));
  if (gst_pad_is_linked(entry.get()) == FALSE) {
    self->inbox.put(
        "The camera's stream has no metadata: switch metadata on in this profile of the camera");
    self->wake();
  }
}

void MetadataStream::Parts::newManager(GstElement*, GstElement* manager, gpointer self) {
  g_signal_connect(manager, "on-ssrc-active", G_CALLBACK(reportCame), self);
}

void MetadataStream::Parts::reportCame(GstElement*, guint, guint, gpointer data) {
  auto* self = static_cast<Parts*>(data);
  self->inbox.put(SignOfLife());
  self->wake();
}

GstFlowReturn MetadataStream::Parts::newSample(GstAppSink* sink, gpointer data) {
  auto* self = static_cast<Parts*>(data);
  const SamplePtr sample(gst_app_sink_pull_sample(sink));
  GstBuffer* buffer = sample ? gst_sample_get_buffer(sample.get()) : nullptr;
  if (buffer == nullptr) {
    return GST_FLOW_OK;
  }
  if (auto packet = readPacket(buffer)) {
    self->inbox.put(ArrivedPacket{std::move(*packet), g_get_monotonic_time(),
                                  sentTime(buffer, self->ntp.get())});
    self->wake();
  }
  return GST_FLOW_OK;
}

gboolean MetadataStream::Parts::messageCame(GstBus*, GstMessage* message, gpointer data) {
  auto* self = static_cast<Parts*>(data);
  if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
    self->fail("The camera has ended the stream");
  } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
    ErrorSlot error;
    gst_message_parse_error(message, error.out(), nullptr);
    self->fail("The camera's stream cannot be received: " + error.message());
  }
  return G_SOURCE_CONTINUE;
}

gboolean MetadataStream::Parts::woken(gpointer data) {
  static_cast<Parts*>(data)->handleItems();
  return G_SOURCE_CONTINUE;
}

gboolean MetadataStream::Parts::look(gpointer data) {
  static_cast<Parts*>(data)->lookForLife();
  return G_SOURCE_CONTINUE;
}

// Where nothing happens, some cameras tell nothing: no metadata, and no sender reports.
void MetadataStream::Parts::lookForLife() {
  const std::int64_t now = g_get_monotonic_time();
  if (hasAnswered->exchange(false)) {
    alive = now;
    isLifeAsked = false;
  }
  if (now - alive > silence) {
    fail("The camera's stream has been silent for " + std::to_string(silence / G_USEC_PER_SEC) +
         " s");
  } else if (now - alive > silence / 2 && !isLifeAsked) {
    isLifeAsked = askForLife();
  }
}

// rtspsrc keeps the answers to its own keep-alives to itself. Any answer will do: no camera has
// such a parameter.
bool MetadataStream::Parts::askForLife() {
  GstPromise* promise =
      gst_promise_new_with_change_func(lifeAnswered, new LifeSign(hasAnswered),
                                       [](gpointer data) { delete static_cast<LifeSign*>(data); });
  gboolean isSent = FALSE;
  g_signal_emit_by_name(source, "get-parameter", "alive", nullptr, promise, &isSent);
  gst_promise_unref(promise);
  return isSent == TRUE;
}

void MetadataStream::Parts::lifeAnswered(GstPromise* promise, gpointer waiting) {
  if (gst_promise_wait(promise) != GST_PROMISE_RESULT_REPLIED) {
    return;
  }
  const GstStructure* reply = gst_promise_get_reply(promise);
  // Its code says OK even where nothing could be sent.
  int result = -1;
  if (reply != nullptr) {
    gst_structure_get_int(reply, "rtsp-result", &result);
  }
  if (result == 0) {
    static_cast<LifeSign*>(waiting)->get()->store(true);
  }
}

void MetadataStream::Parts::handleItems() {
  for (const Item& item : inbox.take()) {
    if (hasFailed) {
      return;
    }
    alive = g_get_monotonic_time();
    if (const auto* arrived = std::get_if<ArrivedPacket>(&item)) {
      handle(*arrived);
    } else if (const auto* words = std::get_if<std::string>(&item)) {
      return fail(*words);  // nothing of this is left after it
    }
  }
}

void MetadataStream::Parts::handle(const ArrivedPacket& arrived) {
  MetadataPacket packet = arrived.packet;
  packet.isAfterGap = packet.isAfterGap && !std::exchange(isFirst, false);
  for (std::string& document : joiner.take(packet, arrived.time)) {
    callbacks.onDocument({std::move(document), arrived.time, arrived.sent});
  }
}

void MetadataStream::Parts::fail(const std::string& words) {
  if (!std::exchange(hasFailed, true)) {
    const auto tell = callbacks.onTrouble;
    tell(words);
  }
}

MetadataStream::MetadataStream(const std::string& address, const Login& login, Callbacks callbacks,
                               std::int64_t silence)
    : parts(std::make_unique<Parts>(std::move(callbacks), silence)) {
  startGStreamer();
  parts->build(address, login);
}

MetadataStream::~MetadataStream() = default;

}  // namespace device::onvif
