#include "onvif_client/metadata_joiner.h"

#include <gio/gio.h>

#include <array>
#include <utility>

#include "base/glib_ptr.h"
#include "base/text.h"

namespace device::onvif {
namespace {

constexpr std::string_view GZIP = "\x1F\x8B";
constexpr std::string_view EXI = "$EXI";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view BLANKS = " \t\r\n";

// What stands before a document has no meaning.
std::string_view beginOf(std::string_view text) {
  if (text.starts_with(BYTE_ORDER_MARK)) {
    text.remove_prefix(BYTE_ORDER_MARK.size());
  }
  return text::trimmed(text, BLANKS);
}

bool isBegin(std::string_view text) {
  return text.starts_with('<') || text.starts_with(GZIP) || text.starts_with(EXI);
}

// After the end tag of the first whole document; npos when there is none.
std::size_t endOfDocument(std::string_view text) {
  for (std::size_t at = text.find("</"); at != std::string_view::npos;
       at = text.find("</", at + 2)) {
    const std::size_t close = text.find('>', at);
    if (close == std::string_view::npos) {
      return close;
    }
    const std::string_view name = text::trimmed(text.substr(at + 2, close - at - 2), BLANKS);
    const std::string_view local = name.substr(name.find(':') + 1);
    if (local == "MetadataStream" || local == "MetaDataStream") {
      return close + 1;
    }
  }
  return std::string_view::npos;
}

}  // namespace

std::vector<std::string> MetadataJoiner::take(const MetadataPacket& packet, std::int64_t now) {
  const bool isNext =
      !lastSequence || packet.sequence == static_cast<std::uint16_t>(*lastSequence + 1);
  if (!isNext || packet.isAfterGap) {
    drop();
  }
  lastSequence = packet.sequence;
  if (isDropping) {
    isDropping = !packet.isLast;
    begun.reset();
    return {};
  }
  if (joined.size() + packet.payload.size() > MOST_BYTES) {
    drop();
    isDropping = !packet.isLast;
    return {};
  }
  joined += packet.payload;
  if (packet.isLast) {
    begun.reset();
    return complete();
  }
  begun = begun.value_or(now);
  return now - *begun >= PATIENCE ? cutAtEndTags() : std::vector<std::string>();
}

void MetadataJoiner::drop() {
  lost += isDropping ? 0 : 1;
  joined.clear();
  begun.reset();
  isDropping = true;
}

std::vector<std::string> MetadataJoiner::complete() {
  if (beginOf(joined).starts_with(GZIP)) {
    isFirst = false;
    const std::string whole = std::exchange(joined, {});
    auto unpacked = unzipped(beginOf(whole), MOST_BYTES);
    lost += unpacked ? 0 : 1;
    return unpacked ? std::vector{std::move(*unpacked)} : std::vector<std::string>();
  }
  // Some send several documents before one marker.
  std::vector<std::string> documents = cutAtEndTags();
  const std::string rest = std::exchange(joined, {});
  const std::string_view last = beginOf(rest);
  const bool isTail = std::exchange(isFirst, false) && !isBegin(last);
  if (!isTail && !last.empty()) {
    documents.emplace_back(last);
  }
  return documents;
}

std::vector<std::string> MetadataJoiner::cutAtEndTags() {
  std::vector<std::string> documents;
  for (std::size_t end = endOfDocument(joined); end != std::string::npos;
       end = endOfDocument(joined)) {
    const std::string_view document = beginOf(std::string_view(joined).substr(0, end));
    if (!std::exchange(isFirst, false) || isBegin(document)) {
      documents.emplace_back(document);
    }
    joined.erase(0, end);
  }
  return documents;
}

std::optional<std::string> unzipped(std::string_view bytes, std::size_t limit) {
  const GObjectPtr<GConverter> converter(
      G_CONVERTER(g_zlib_decompressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP)));
  std::string result;
  std::array<char, 16384> part;
  while (true) {
    gsize read = 0;
    gsize written = 0;
    ErrorSlot error;
    const GConverterResult outcome =
        g_converter_convert(converter.get(), bytes.data(), bytes.size(), part.data(), part.size(),
                            G_CONVERTER_INPUT_AT_END, &read, &written, error.out());
    if (outcome == G_CONVERTER_ERROR || result.size() + written > limit) {
      return std::nullopt;
    }
    result.append(part.data(), written);
    bytes.remove_prefix(read);
    if (outcome == G_CONVERTER_FINISHED) {
      return result;
    }
    if (read == 0 && written == 0) {
      return std::nullopt;
    }
  }
}

}  // namespace device::onvif
