#include "onvif/tag.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "onvif/xml.h"

namespace device::onvif {
namespace {

// Without the declaration in front and the line feed at the end.
std::string elementOf(const Tag& tag) {
  const std::string text = tag.document();
  const std::size_t begin = text.find("?>\n") + 3;
  return text.substr(begin, text.size() - begin - 1);
}

TEST(TagTest, NumbersFlagsAndTextsAreWrittenAsXmlHasThem) {
  EXPECT_EQ("<a>1.5</a>", elementOf(Tag("a", 1.5)));
  EXPECT_EQ("<a>-3</a>", elementOf(Tag("a", -3)));
  EXPECT_EQ("<a>true</a>", elementOf(Tag("a", true)));
  EXPECT_EQ("<a>text</a>", elementOf(Tag("a", "text")));
  EXPECT_EQ(R"(<a b="0.1" c="false" d="x"/>)",
            elementOf(Tag("a", Attribute("b", 0.1), Attribute("c", false), Attribute("d", "x"))));
  EXPECT_EQ("<a>text<b/></a>", elementOf(Tag("a", Tag("b"), "text")));
}

TEST(TagTest, WhatMeansSomethingInXmlIsEscaped) {
  EXPECT_EQ(R"(<a b="&quot;&lt;&amp;">&lt;b&gt;&amp;</a>)",
            elementOf(Tag("a", Attribute("b", "\"<&"), "<b>&")));
}

TEST(TagTest, WhatXmlCannotHoldIsLeftOutOrReplaced) {
  EXPECT_EQ("<a>12\xEF\xBF\xBD</a>", elementOf(Tag("a",
                                                   "1\x01\x1F"
                                                   "2\xFF")));
  const std::string all = Tag("a", std::string("\x02\x7F\xC3\xEF\xBF\xBE")).document();
  EXPECT_NO_THROW(XmlDocument document(all));
}

TEST(TagTest, PrefixesAreDeclaredAtTheRootOnce) {
  const XmlDocument document(
      Tag("tds:A", Tag("tt:B", Attribute("tt:c", "d")), Tag("tt:B")).document());
  EXPECT_TRUE(document.root().is("http://www.onvif.org/ver10/device/wsdl", "A"));
  EXPECT_TRUE(document.root().child("http://www.onvif.org/ver10/schema", "B"));
  EXPECT_FALSE(document.root().nameSpaceOf("tptz"));
}

TEST(TagTest, PrefixOfNoVocabularyIsAnErrorOfTheProgram) {
  EXPECT_THROW(Tag("nobody:a").document(), std::logic_error);
}

TEST(TagTest, NumbersAreTheShortestThatGiveTheSame) {
  EXPECT_EQ("0.5", textOf(0.5));
  EXPECT_EQ("0.1", textOf(0.1));
  EXPECT_EQ("1e+30", textOf(1e30));
  EXPECT_EQ("-7", textOf(std::int64_t{-7}));
}

}  // namespace
}  // namespace device::onvif
