# What the services make of what they are asked, by whatever way it comes: no bus, no socket, no main
# loop.
add_library(device_offers STATIC
  services/application_monitor.cpp
  services/event_table.cpp
  services/frame_encoding.cpp
  services/frame_handshake.cpp
  services/head_drive.cpp
  services/head_requests.cpp
  services/parameter_store.cpp)
target_link_libraries(device_offers PUBLIC device_core base PkgConfig::GLIB
                                    PRIVATE sentrel_options scene_encoder)

# The device's services on the bus and its sockets, and the process that offers them.
sentrel_dbus_code(device_dbus Bus
  com.orva.EventService
  com.orva.M12LensSelectionFov
  com.orva.PTZService
  com.orva.ParameterService
  com.orva.RemoteCameraControl.PTZ.Travo)

# The web server, and the events' way to a broker.
pkg_check_modules(SOUP REQUIRED IMPORTED_TARGET GLOBAL libsoup-3.0)
pkg_check_modules(MOSQUITTO REQUIRED IMPORTED_TARGET GLOBAL libmosquitto)
pkg_check_modules(SSL REQUIRED IMPORTED_TARGET GLOBAL libssl libcrypto)
pkg_check_modules(NATS REQUIRED IMPORTED_TARGET GLOBAL libnats)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET GLOBAL sqlite3)

# The language of ONVIF, which a camera and its clients have in common; knows nothing of the device.
pkg_check_modules(LIBXML REQUIRED IMPORTED_TARGET GLOBAL libxml-2.0)
add_library(device_onvif STATIC
  onvif/discovery_message.cpp
  onvif/envelope.cpp
  onvif/fault.cpp
  onvif/namespaces.cpp
  onvif/ptz_space.cpp
  onvif/tag.cpp
  onvif/time_text.cpp
  onvif/topic.cpp
  onvif/user_token.cpp
  onvif/xml.cpp)
target_include_directories(device_onvif PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(device_onvif PRIVATE sentrel_options base PkgConfig::LIBXML PkgConfig::GLIB)

# Video for clients: the server, and the pipelines that it makes. Its plugins are loaded one by one.
pkg_check_modules(GST_RTSP REQUIRED IMPORTED_TARGET GLOBAL gstreamer-rtsp-server-1.0
                  gstreamer-rtsp-1.0 gstreamer-app-1.0 gstreamer-rtp-1.0)
pkg_get_variable(GSTREAMER_PLUGINS gstreamer-1.0 pluginsdir)

add_library(device_services STATIC
  services/bus.cpp
  services/console.cpp
  services/daemon_process.cpp
  services/delayed_calls.cpp
  services/event_service.cpp
  services/frame_server.cpp
  services/lens_service.cpp
  services/local_socket.cpp
  app/options.cpp
  onvif_server/analytics_operations.cpp
  onvif_server/camera_profile.cpp
  onvif_server/device_operations.cpp
  onvif_server/discovery_responder.cpp
  onvif_server/event_operations.cpp
  onvif_server/faulty_reports.cpp
  onvif_server/faulty_services.cpp
  onvif_server/head_space.cpp
  onvif_server/media_operations.cpp
  onvif_server/metadata.cpp
  onvif_server/notification.cpp
  onvif_server/onvif_camera.cpp
  onvif_server/onvif_faults.cpp
  onvif_server/onvif_options.cpp
  onvif_server/operations.cpp
  onvif_server/ptz_operations.cpp
  onvif_server/pull_points.cpp
  onvif_server/soap_server.cpp
  onvif_server/token_book.cpp
  rtsp/metadata_pay.cpp
  rtsp/picture_streams.cpp
  rtsp/pipeline_time.cpp
  rtsp/rtsp_access.cpp
  rtsp/rtsp_connections.cpp
  rtsp/rtsp_server.cpp
  rtsp/stream_entry.cpp
  rtsp/stream_faults.cpp
  rtsp/stream_feeds.cpp
  services/parameter_service.cpp
  services/periodic_timer.cpp
  services/ptz_service.cpp
  services/remote_ptz_service.cpp
  services/stream_client.cpp
  services/syslog_server.cpp
  app/truth_sampler.cpp
  app/virtual_device.cpp
  web_server/alarm_outbox.cpp
  web_server/application_answer.cpp
  web_server/application_forwarder.cpp
  web_server/application_request.cpp
  web_server/broker_options.cpp
  web_server/calibration_api.cpp
  web_server/device_api.cpp
  web_server/device_metrics.cpp
  web_server/digest_login.cpp
  web_server/discovery.cpp
  web_server/event_json.cpp
  web_server/event_stream.cpp
  web_server/following_watch.cpp
  web_server/json_values.cpp
  web_server/last_minute.cpp
  web_server/lingering_refusal.cpp
  web_server/live_json.cpp
  web_server/metrics_text.cpp
  web_server/mqtt_client.cpp
  web_server/mqtt_publisher.cpp
  web_server/nonce_book.cpp
  web_server/option_values.cpp
  web_server/origin_check.cpp
  web_server/site_about.cpp
  web_server/soup_message.cpp
  web_server/static_files.cpp
  web_server/tls_files.cpp
  web_server/web_command_line.cpp
  web_server/web_connections.cpp
  web_server/web_interface.cpp
  web_server/web_listener.cpp
  web_server/web_options.cpp
  web_server/web_server.cpp)
target_include_directories(device_services PUBLIC ${CMAKE_CURRENT_LIST_DIR})
set(SENTREL_DEVICE_DATA ${CMAKE_CURRENT_LIST_DIR} CACHE STRING
    "Where the virtual device looks for its models and its page, unless it is told otherwise")
target_compile_definitions(device_services PRIVATE DEVICE_MODELS="${SENTREL_DEVICE_DATA}/models"
                                                   DEVICE_WEB="${SENTREL_DEVICE_DATA}/web"
                                                   DEVICE_VERSION="${PROJECT_VERSION}"
                                                   GSTREAMER_PLUGINS="${GSTREAMER_PLUGINS}")
target_link_libraries(device_services PUBLIC device_core device_calibration device_offers device_onvif PkgConfig::GLIB
                                             PkgConfig::SOUP
                                             PkgConfig::JANSSON PkgConfig::GST_RTSP
                                      PRIVATE sentrel_options device_dbus ovhttp_wire
                                              PkgConfig::MOSQUITTO PkgConfig::SSL PkgConfig::SQLITE
                                              Threads::Threads)

# What most sources include anyway; script/check-style compiles without it and finds what is missing.
target_precompile_headers(device_services PRIVATE <algorithm> <functional> <map> <memory> <optional>
                          <string> <string_view> <vector> <gio/gio.h> <jansson.h> <libsoup/soup.h>)

add_executable(virtual_device main.cpp)
target_link_libraries(virtual_device PRIVATE sentrel_options device_services)

# Beside cameras of others: what a client of theirs says and reads, and the bridge on top of it.
add_library(device_onvif_client STATIC
  onvif_client/camera_calls.cpp
  onvif_client/camera_clock.cpp
  onvif_client/camera_facts.cpp
  onvif_client/camera_search.cpp
  onvif_client/gstreamer.cpp
  onvif_client/head_facts.cpp
  onvif_client/metadata_document.cpp
  onvif_client/metadata_joiner.cpp
  onvif_client/metadata_stream.cpp
  onvif_client/soap_reply.cpp)
target_compile_definitions(device_onvif_client PRIVATE GSTREAMER_PLUGINS="${GSTREAMER_PLUGINS}")
target_link_libraries(device_onvif_client PUBLIC device_onvif base PkgConfig::GLIB PkgConfig::SOUP
                                                 PkgConfig::GST_RTSP
                                          PRIVATE sentrel_options)

add_library(device_bridge STATIC
  bridge/axis_scale.cpp
  bridge/bridge.cpp
  bridge/bridge_options.cpp
  bridge/bridge_settings.cpp
  bridge/camera_link.cpp
  bridge/camera_survey.cpp
  bridge/camera_views.cpp
  bridge/frame_clock.cpp
  bridge/head_check.cpp
  bridge/head_check_run.cpp
  bridge/head_map.cpp
  bridge/head_moves.cpp
  bridge/head_sight.cpp
  bridge/head_switch.cpp
  bridge/metadata_switch.cpp
  bridge/motion_trace.cpp
  bridge/overview_cameras.cpp
  bridge/remote_head.cpp
  bridge/remote_overview.cpp
  bridge/scene_maker.cpp
  bridge/set_up.cpp
  bridge/settings_files.cpp
  bridge/snapshot.cpp
  bridge/told_parameters.cpp)
target_compile_definitions(device_bridge PRIVATE DEVICE_WEB="${SENTREL_DEVICE_DATA}/web")
target_link_libraries(device_bridge PUBLIC device_services device_onvif_client
                                    PRIVATE sentrel_options)

add_executable(sentrelvideo-onvif bridge/bridge_main.cpp)
target_link_libraries(sentrelvideo-onvif PRIVATE sentrel_options device_bridge)

# The page of all sites, which stands beside a broker.
add_library(device_fleet STATIC
  fleet/alarm_entry.cpp
  fleet/alarm_history.cpp
  fleet/fleet_listener.cpp
  fleet/fleet_options.cpp
  fleet/fleet_page.cpp
  fleet/history_reader.cpp
  fleet/site_table.cpp)
set(SENTREL_FLEET_DATA ${PROJECT_SOURCE_DIR}/fleet/web CACHE STRING
    "Where the fleet's page looks for its files, unless it is told otherwise")
target_compile_definitions(device_fleet PRIVATE FLEET_WEB="${SENTREL_FLEET_DATA}")
target_link_libraries(device_fleet PUBLIC device_services PkgConfig::MOSQUITTO
                                   PRIVATE sentrel_options PkgConfig::NATS)
add_executable(fleet_page fleet_main.cpp)
target_link_libraries(fleet_page PRIVATE sentrel_options device_fleet)
