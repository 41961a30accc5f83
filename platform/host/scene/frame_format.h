// The bytes of a scene frame. All numbers are little-endian; none is aligned.
//
//   frame     magic u32, total length u32 (this header included), version u32,
//             number of properties, objects and events u32 each,
//             then the properties of the scene, the objects, the events, and nothing else
//   property  number u32, count of values u32, values (i64 for the scene, else i32)
//   object    id i32, number of properties u32, properties
//   event     action u32, number of properties u32, properties
#ifndef SCENE_FRAME_FORMAT_H
#define SCENE_FRAME_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace frame_format {

constexpr std::uint32_t MAGIC = 0x314e4353;  // "SCN1"
constexpr std::uint32_t VERSION = 1;
constexpr std::size_t PREAMBLE_SIZE = 8;  // magic and total length
constexpr std::size_t HEADER_SIZE = 24;
constexpr std::size_t MAX_SIZE = std::size_t{16} << 20;
constexpr std::size_t LENGTH_OFFSET = 4;

// The least that one of each takes, to judge an announced number before believing it.
constexpr std::size_t MIN_PROPERTY_SIZE = 8;
constexpr std::size_t MIN_OBJECT_SIZE = 8;
constexpr std::size_t MIN_EVENT_SIZE = 8;

}  // namespace frame_format

#endif
