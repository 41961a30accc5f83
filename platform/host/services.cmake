# The platform libraries that speak for services of the device.

inner_library(service_client bus/service_client.cpp LINK base)

platform_library(ovparameter ovparameter/ovparameter.cpp LINK service_client)
only_exports(ovparameter ov_parameter_)

platform_library(ovevent ovevent/ovevent.cpp ovevent/event_handler.cpp ovevent/event_keys.cpp
                 ovevent/key_value_set.cpp ovevent/subscription.cpp LINK service_client Threads::Threads)
only_exports(ovevent ov_event_)

platform_library(ptztolva ptztolva/ptztolva.cpp LINK service_client)
only_exports(ptztolva ptztolva_)

platform_library(scene scene/scene.cpp)
only_exports(scene scene_)
inner_library(scene_encoder scene/scene_encoder.cpp)

inner_library(ovhttp_wire ovhttp/wire.cpp LINK base)
inner_library(ovhttp_server ovhttp/http_server.cpp LINK ovhttp_wire base Threads::Threads)
platform_library(ovhttp ovhttp/ovhttp.cpp LINK ovhttp_server)
only_exports(ovhttp ov_http_)

inner_library(scene_subscriber subscriber/scene_subscriber.cpp
              LINK scene base Threads::Threads)
add_library(video_scene_subscriber MODULE subscriber/video_scene_subscriber.cpp)
set_target_properties(video_scene_subscriber PROPERTIES PREFIX ""
                      OUTPUT_NAME libvideo_scene_subscriber SUFFIX .so.0)
target_link_libraries(video_scene_subscriber PRIVATE sentrel_options scene_subscriber)
only_exports(video_scene_subscriber video_scene_subscriber_)
