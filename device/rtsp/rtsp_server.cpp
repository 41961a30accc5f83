#include "rtsp/rtsp_server.h"

#include <array>
#include <optional>
#include <stdexcept>
#include <utility>

#include "rtsp/metadata_pay.h"
#include "rtsp/rtsp_access.h"

namespace device {
namespace {

constexpr char PICTURES[] = "pictures";
constexpr char METADATA[] = "metadata";
constexpr unsigned MOST_WAITING = 2;     // pictures before an encoder
constexpr unsigned MOST_DOCUMENTS = 10;  // a client that begins is sent them all at once
constexpr guint LONGEST_BODY = 65536;    // bytes, of a request
constexpr int KILOBITS_PER_SECOND = 4096;

// Without the library's search through all that is installed, which takes a second or more.
void startGStreamer() {
  std::string load = "--gst-plugin-load=";
  for (const char* name :
       {"coreelements", "app", "videoconvertscale", "x264", "rtp", "rtpmanager", "udp", "tcp"}) {
    load +=
        std::string(load.back() == '=' ? "" : ",") + GSTREAMER_PLUGINS + "/libgst" + name + ".so";
  }
  std::string program = "virtual_device";
  std::string disable = "--gst-disable-registry-update";
  std::array<char*, 4> arguments = {program.data(), disable.data(), load.data(), nullptr};
  int count = 3;
  char** words = arguments.data();
  ErrorSlot error;
  if (gst_init_check(&count, &words, error.out()) == FALSE) {
    throw std::runtime_error("GStreamer: " + error.message());
  }
  registerMetadataPay();
  for (const char* element : {"appsrc", "videoconvert", "x264enc", "rtph264pay", "rtpjpegpay",
                              "rtpbin", "appsink", "multiudpsink"}) {
    const GObjectPtr<GstElementFactory> factory(gst_element_factory_find(element));
    if (!factory) {
      throw std::runtime_error(std::string("GStreamer has no element ") + element);
    }
  }
}

// What there is of each stream, by what follows its name.
struct Offer {
  const char* path;
  std::optional<StreamCodec> picture;
  StreamCodec metadata;
};

constexpr std::array<Offer, 5> OFFERS = {
    {{"", StreamCodec::h264, StreamCodec::metadata},
     {"/jpeg", StreamCodec::jpeg, StreamCodec::metadata},
     {"/gzip", StreamCodec::h264, StreamCodec::gzippedMetadata},
     {"/metadata", std::nullopt, StreamCodec::metadata},
     {"/metadata/gzip", std::nullopt, StreamCodec::gzippedMetadata}}};

std::string pictureLine(StreamCodec codec, int framesPerSecond) {
  std::string entry = "appsrc name=";
  entry += PICTURES;
  if (codec == StreamCodec::jpeg) {
    return entry + " ! rtpjpegpay name=pay0 pt=26 ";
  }
  return entry +
         " ! videoconvert ! video/x-raw,format=I420"
         " ! x264enc tune=zerolatency speed-preset=ultrafast threads=1 bitrate=" +
         std::to_string(KILOBITS_PER_SECOND) + " key-int-max=" + std::to_string(framesPerSecond) +
         " ! video/x-h264,profile=constrained-baseline"
         " ! rtph264pay name=pay0 pt=96 config-interval=-1 ";
}

std::string launchLine(const Offer& offer, int framesPerSecond) {
  const std::string picture = offer.picture ? pictureLine(*offer.picture, framesPerSecond) : "";
  return "( " + picture + "appsrc name=" + METADATA + " ! " + METADATA_PAY +
         " pt=107 name=" + (offer.picture ? "pay1" : "pay0") + " )";
}

using CapsPtr = std::unique_ptr<GstCaps, GDeleter<gst_caps_unref>>;

CapsPtr capsOf(const StreamSetup& setup, StreamCodec codec, int framesPerSecond) {
  if (codec == StreamCodec::metadata || codec == StreamCodec::gzippedMetadata) {
    const bool isPlain = codec == StreamCodec::metadata;
    return CapsPtr(gst_caps_new_empty_simple(isPlain ? METADATA_CAPS : METADATA_GZIP_CAPS));
  }
  const bool isJpeg = codec == StreamCodec::jpeg;
  CapsPtr caps(gst_caps_new_simple(isJpeg ? "image/jpeg" : "video/x-raw", "width", G_TYPE_INT,
                                   setup.width, "height", G_TYPE_INT, setup.height, "framerate",
                                   GST_TYPE_FRACTION, framesPerSecond, 1, nullptr));
  if (!isJpeg) {
    gst_caps_set_simple(caps.get(), "format", G_TYPE_STRING, "RGB", nullptr);
  }
  return caps;
}

// What belongs to the media of one place; lives as long as their factory.
struct Place {
  std::size_t stream;
  StreamSetup setup;
  int framesPerSecond;
  Offer offer;
  std::shared_ptr<StreamFeeds> feeds;
  std::shared_ptr<StreamFaults> faults;

  static void free(gpointer data, GClosure*) { delete static_cast<Place*>(data); }
};

struct Opened {
  GObjectPtr<GstAppSrc> source;
  std::shared_ptr<StreamFeeds> feeds;

  static void free(gpointer data, GClosure*) { delete static_cast<Opened*>(data); }
};

void mediaEnded(GstRTSPMedia*, gpointer data) {
  const auto* opened = static_cast<Opened*>(data);
  opened->feeds->close(opened->source.get());
}

void openEntry(GstRTSPMedia* media, const Place& place, const char* name, StreamCodec codec) {
  const GObjectPtr<GstElement> pipeline(gst_rtsp_media_get_element(media));
  GObjectPtr<GstAppSrc> source(
      GST_APP_SRC(gst_bin_get_by_name_recurse_up(GST_BIN(pipeline.get()), name)));
  const CapsPtr caps = capsOf(place.setup, codec, place.framesPerSecond);
  g_object_set(source.get(), "caps", caps.get(), "format", GST_FORMAT_TIME, "is-live", TRUE,
               "block", FALSE, "max-bytes", guint64{0}, "max-buffers",
               guint64{codec == StreamCodec::h264 || codec == StreamCodec::jpeg ? MOST_WAITING
                                                                                : MOST_DOCUMENTS},
               "leaky-type", GST_APP_LEAKY_TYPE_DOWNSTREAM, nullptr);
  auto* opened = new Opened{
      GObjectPtr<GstAppSrc>(static_cast<GstAppSrc*>(g_object_ref(source.get()))), place.feeds};
  g_signal_connect_data(media, "unprepared", G_CALLBACK(mediaEnded), opened, Opened::free,
                        GConnectFlags{});
  place.feeds->open({place.stream, codec, std::move(source)});
}

GstFlowReturn chainTolerantly(GstPad* pad, GstObject* parent, GstBuffer* buffer) {
  const auto usual = reinterpret_cast<GstPadChainFunction>(pad->chaindata);
  const GstFlowReturn result = usual(pad, parent, buffer);
  return result == GST_FLOW_NOT_LINKED ? GST_FLOW_OK : result;
}

// A client may take the pictures alone, or the metadata: what nobody takes would end all with an
// error.
void tolerateUntaken(GstRTSPMedia* media) {
  const GObjectPtr<GstElement> pipeline(gst_rtsp_media_get_element(media));
  for (const char* name : {"pay0", "pay1"}) {
    const GObjectPtr<GstElement> payloader(
        gst_bin_get_by_name_recurse_up(GST_BIN(pipeline.get()), name));
    if (!payloader) {
      continue;
    }
    const GObjectPtr<GstPad> pad(gst_element_get_static_pad(payloader.get(), "sink"));
    auto* usual = reinterpret_cast<gpointer>(GST_PAD_CHAINFUNC(pad.get()));
    gst_pad_set_chain_function_full(pad.get(), chainTolerantly, usual, nullptr);
  }
}

// The last payloader is that of the metadata.
void spoil(GstRTSPMedia* media, const Place& place) {
  const GObjectPtr<GstElement> pipeline(gst_rtsp_media_get_element(media));
  const char* name = place.offer.picture ? "pay1" : "pay0";
  const GObjectPtr<GstElement> payloader(
      gst_bin_get_by_name_recurse_up(GST_BIN(pipeline.get()), name));
  spoilPackets(payloader.get(), place.faults, place.stream);
}

void mediaMade(GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer data) {
  const auto* place = static_cast<Place*>(data);
  if (place->offer.picture) {
    openEntry(media, *place, PICTURES, *place->offer.picture);
  }
  openEntry(media, *place, METADATA, place->offer.metadata);
  tolerateUntaken(media);
  if (place->faults) {
    spoil(media, *place);
  }
}

// One that is closed every few seconds, while that is wanted.
struct Closing {
  std::shared_ptr<StreamFaults> faults;
  std::size_t stream;
  std::shared_ptr<RtspConnections> connections;
  GObjectPtr<GstRTSPClient> client;

  static gboolean due(gpointer data) {
    const auto* self = static_cast<Closing*>(data);
    if (!self->faults->streams[self->stream].closes) {
      return G_SOURCE_CONTINUE;
    }
    self->connections->endOne(self->client.get());
    return G_SOURCE_REMOVE;
  }

  static void start(Closing* closing, GMainContext* context) {
    const GSourceReference source(g_timeout_source_new(closing->faults->closesAfter));
    g_source_set_callback(source.get(), due, closing,
                          [](gpointer data) { delete static_cast<Closing*>(data); });
    g_source_attach(source.get(), context);
  }
};

// Where clients' plays are told. The paths are those of the streams.
struct Plays {
  std::vector<std::string> paths;
  std::shared_ptr<StreamFeeds> feeds;
  std::shared_ptr<StreamFaults> faults;
  std::shared_ptr<RtspConnections> connections;
  GMainContext* context;  // of the server, in which no play is told after its end

  static void free(gpointer data, GClosure*) { delete static_cast<Plays*>(data); }
};

void played(GstRTSPClient* client, GstRTSPContext* context, gpointer data) {
  const auto* plays = static_cast<Plays*>(data);
  const std::string path = context->uri->abspath + std::string("/");
  for (std::size_t stream = 0; stream < plays->paths.size(); ++stream) {
    if (path.starts_with(plays->paths[stream])) {
      plays->feeds->begin(stream);
      if (plays->faults) {
        auto* held = static_cast<GstRTSPClient*>(g_object_ref(client));
        Closing::start(
            new Closing{plays->faults, stream, plays->connections, GObjectPtr<GstRTSPClient>(held)},
            plays->context);
      }
    }
  }
}

void clientCame(GstRTSPServer*, GstRTSPClient* client, gpointer data) {
  g_signal_connect_data(client, "play-request", G_CALLBACK(played),
                        new Plays(*static_cast<Plays*>(data)), Plays::free, GConnectFlags{});
}

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

RtspServer::RtspServer(const StreamOptions& options, const std::vector<StreamSetup>& streams,
                       std::shared_ptr<StreamFeeds> feeds)
    : context(g_main_context_new()),
      loop(g_main_loop_new(context.get(), FALSE)),
      connections(std::make_shared<RtspConnections>(options.limits, context.get())) {
  startGStreamer();
  server.reset(gst_rtsp_server_new());
  auto* plays = new Plays{{}, feeds, options.faults, connections, context.get()};
  for (const StreamSetup& stream : streams) {
    plays->paths.push_back('/' + stream.name + '/');
  }
  g_signal_connect_data(server.get(), "client-connected", G_CALLBACK(clientCame), plays,
                        Plays::free, GConnectFlags{});
  for (std::size_t i = 0; i < streams.size(); ++i) {
    addStream(options, streams[i], i, feeds);
  }
  gst_rtsp_server_set_auth(server.get(), makeRtspAccess(options.user, options.faults).get());
  gst_rtsp_server_set_content_length_limit(server.get(), LONGEST_BODY);
  connections->watch(server.get());
  const GObjectPtr<GstRTSPSessionPool> sessions(gst_rtsp_server_get_session_pool(server.get()));
  gst_rtsp_session_pool_set_max_sessions(sessions.get(), options.limits.sessions);
  listen(options);
  cleaner =
      startTimer(static_cast<guint>(options.limits.look.count()), cleanUp, this, context.get());
  thread = std::thread([this] { g_main_loop_run(loop.get()); });
}

RtspServer::~RtspServer() {
  // From within: a loop that has not begun yet would forget that it was told to end.
  const GSourcePtr end(g_idle_source_new());
  g_source_set_callback(end.get(), quit, loop.get(), nullptr);
  g_source_attach(end.get(), context.get());
  thread.join();
  connections->endAll();
}

void RtspServer::addStream(const StreamOptions& options, const StreamSetup& setup,
                           std::size_t stream, const std::shared_ptr<StreamFeeds>& feeds) {
  const GObjectPtr<GstRTSPMountPoints> places(gst_rtsp_server_get_mount_points(server.get()));
  for (const Offer& offer : OFFERS) {
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, launchLine(offer, options.framesPerSecond).c_str());
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    gst_rtsp_media_factory_set_protocols(factory, GST_RTSP_LOWER_TRANS_TCP);
    gst_rtsp_media_factory_add_role(factory, RTSP_ROLE, GST_RTSP_PERM_MEDIA_FACTORY_ACCESS,
                                    G_TYPE_BOOLEAN, TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT,
                                    G_TYPE_BOOLEAN, TRUE, nullptr);
    auto* place = new Place{stream, setup, options.framesPerSecond, offer, feeds, options.faults};
    g_signal_connect_data(factory, "media-configure", G_CALLBACK(mediaMade), place, Place::free,
                          GConnectFlags{});
    const std::string path = '/' + setup.name + offer.path;
    gst_rtsp_mount_points_add_factory(places.get(), path.c_str(), factory);
  }
}

void RtspServer::listen(const StreamOptions& options) {
  gst_rtsp_server_set_address(server.get(), options.address.c_str());
  gst_rtsp_server_set_service(server.get(), std::to_string(options.port).c_str());
  ErrorSlot error;
  listener.reset(gst_rtsp_server_create_source(server.get(), nullptr, error.out()));
  if (!listener && options.port != 0) {
    gst_rtsp_server_set_service(server.get(), "0");
    listener.reset(gst_rtsp_server_create_source(server.get(), nullptr, error.out()));
  }
  if (!listener) {
    throw std::runtime_error("RTSP: cannot listen on " + options.address + ": " + error.message());
  }
  g_source_attach(listener.get(), context.get());
  boundPort = static_cast<std::uint16_t>(gst_rtsp_server_get_bound_port(server.get()));
}

// Whoever has gone without a word is forgotten after a time.
gboolean RtspServer::cleanUp(gpointer data) {
  const auto* self = static_cast<RtspServer*>(data);
  const GObjectPtr<GstRTSPSessionPool> sessions(
      gst_rtsp_server_get_session_pool(self->server.get()));
  gst_rtsp_session_pool_cleanup(sessions.get());
  self->connections->limit();
  return G_SOURCE_CONTINUE;
}

}  // namespace device
