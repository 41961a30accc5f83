#include "onvif_client/metadata_joiner.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "base/glib_ptr.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t SECOND = 1000000;

std::string zipped(const std::string& text) {
  const GObjectPtr<GConverter> converter(
      G_CONVERTER(g_zlib_compressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP, 9)));
  std::vector<char> result(text.size() + 1024);
  gsize read = 0;
  gsize written = 0;
  EXPECT_EQ(G_CONVERTER_FINISHED,
            g_converter_convert(converter.get(), text.data(), text.size(), result.data(),
                                result.size(), G_CONVERTER_INPUT_AT_END, &read, &written, nullptr));
  return {result.data(), written};
}

class MetadataJoinerTest : public testing::Test {
 protected:
  std::vector<std::string> send(const std::string& payload, bool isLast, std::int64_t now = 0) {
    return joiner.take({payload, isLast, sequence++}, now);
  }

  MetadataJoiner joiner;
  std::uint16_t sequence = 65534;  // so that it begins anew on the way
};

TEST_F(MetadataJoinerTest, PacketsUpToTheMarkerAreOneDocument) {
  EXPECT_THAT(send("<a", false), IsEmpty());
  EXPECT_THAT(send("b", false), IsEmpty());
  EXPECT_THAT(send("/>", true), ElementsAre("<ab/>"));
  EXPECT_THAT(send("\xEF\xBB\xBF <b/>\n", true), ElementsAre("<b/>"));
  EXPECT_EQ(0U, joiner.getLost());
}

TEST_F(MetadataJoinerTest, LostPacketCostsUpToTheNextMarker) {
  send("<a>", false);
  ++sequence;
  EXPECT_THAT(send("</a>", true), IsEmpty());
  EXPECT_THAT(send("<b/>", true), ElementsAre("<b/>"));
  EXPECT_EQ(1U, joiner.getLost());
}

// Documents in packets of 100 bytes, one packet of 50 of which is lost: what has arrived.
std::vector<std::string> arrivedOf(const std::vector<std::string>& payloads, MetadataJoiner* joiner,
                                   std::vector<bool>* isSpoilt) {
  constexpr std::size_t LENGTH = 100;
  std::vector<std::string> arrived;
  std::uint16_t sequence = 65000;
  int count = 0;
  isSpoilt->assign(payloads.size() + 1, false);
  for (std::size_t i = 0; i < payloads.size(); ++i) {
    for (std::size_t at = 0; at < payloads[i].size(); at += LENGTH, ++sequence) {
      const bool isLast = at + LENGTH >= payloads[i].size();
      if (++count % 50 == 0) {
        isSpoilt->at(i) = true;
        isSpoilt->at(i + 1) = isSpoilt->at(i + 1) || isLast;  // nobody sees where it begins
        continue;
      }
      for (std::string& document :
           joiner->take({payloads[i].substr(at, LENGTH), isLast, sequence}, 0)) {
        arrived.push_back(std::move(document));
      }
    }
  }
  return arrived;
}

TEST_F(MetadataJoinerTest, OnePacketOf50CostsOnlyTheDocumentsThatItBelongsTo) {
  for (const bool isPacked : {false, true}) {
    std::vector<std::string> documents;
    std::vector<std::string> payloads;
    std::uint32_t chance = 1;
    for (int i = 0; i < 200; ++i) {
      std::string document = "<a>";
      while (document.size() < 1000) {
        chance = chance * 1664525 + 1013904223;
        document += std::to_string(chance);
      }
      documents.push_back(document + "</a>");
      payloads.push_back(isPacked ? zipped(documents.back()) : documents.back());
    }
    MetadataJoiner packets;
    std::vector<bool> isSpoilt;
    const std::vector<std::string> arrived = arrivedOf(payloads, &packets, &isSpoilt);
    std::vector<std::string> whole;
    for (std::size_t i = 0; i < documents.size(); ++i) {
      if (!isSpoilt[i]) {
        whole.push_back(documents[i]);
      }
    }
    EXPECT_EQ(whole, arrived) << (isPacked ? "packed" : "plain");
    EXPECT_LT(120U, arrived.size());
    EXPECT_GT(200U, arrived.size());
  }
}

TEST_F(MetadataJoinerTest, GapThatTheReceiverKnowsOfCostsTheSame) {
  send("<a>", false);
  EXPECT_THAT(joiner.take({"</a>", true, sequence++, true}, 0), IsEmpty());
  EXPECT_THAT(send("<b/>", true), ElementsAre("<b/>"));
}

TEST_F(MetadataJoinerTest, TailOfADocumentAtTheBeginIsDropped) {
  EXPECT_THAT(send("ream>", true), IsEmpty());
  EXPECT_THAT(send("<b/>", true), ElementsAre("<b/>"));
}

TEST_F(MetadataJoinerTest, PackedDocumentsAreUnpacked) {
  const std::string text = "<a>" + std::string(50000, 'x') + "</a>";
  const std::string packed = zipped(text);
  EXPECT_THAT(send(packed.substr(0, 20), false), IsEmpty());
  EXPECT_THAT(send(packed.substr(20), true), ElementsAre(text));
}

TEST_F(MetadataJoinerTest, PackedDocumentsThatAreBrokenOrTooLargeAreDropped) {
  const std::string packed = zipped("<a>" + std::string(50000, 'x') + "</a>");
  EXPECT_THAT(send(packed.substr(0, packed.size() / 2), true), IsEmpty());
  EXPECT_THAT(send(zipped(std::string(2U << 20, 'x')), true), IsEmpty());
  EXPECT_EQ(2U, joiner.getLost());
}

TEST_F(MetadataJoinerTest, DocumentWithoutEndIsNotKept) {
  send("<a>", false);
  for (int i = 0; i < 20; ++i) {
    EXPECT_THAT(send(std::string(100000, 'x'), false), IsEmpty());
  }
  EXPECT_THAT(send("", true), IsEmpty());
  EXPECT_THAT(send("<b/>", true), ElementsAre("<b/>"));
}

TEST_F(MetadataJoinerTest, SeveralDocumentsBeforeOneMarkerAreToldApart) {
  EXPECT_THAT(
      send("<MetadataStream>1</MetadataStream ><t:MetaDataStream>2</t:MetaDataStream>", true),
      ElementsAre("<MetadataStream>1</MetadataStream >", "<t:MetaDataStream>2</t:MetaDataStream>"));
}

TEST_F(MetadataJoinerTest, WithoutMarkersTheEndTagsCountAfterTwoSeconds) {
  EXPECT_THAT(send("<t:MetadataStream>1</t:MetadataStream>", false, 0), IsEmpty());
  EXPECT_THAT(send("<t:MetadataStream>2</t:Metadata", false, SECOND), IsEmpty());
  EXPECT_THAT(send("Stream><t:M", false, 2 * SECOND),
              ElementsAre("<t:MetadataStream>1</t:MetadataStream>",
                          "<t:MetadataStream>2</t:MetadataStream>"));
  EXPECT_THAT(send("etadataStream>3</t:MetadataStream>", false, 2 * SECOND + 1),
              ElementsAre("<t:MetadataStream>3</t:MetadataStream>"));
}

}  // namespace
}  // namespace device::onvif
