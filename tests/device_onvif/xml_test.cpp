#include "onvif/xml.h"

#include <gtest/gtest.h>

namespace device::onvif {
namespace {

std::string refusalOf(const std::string& text, const XmlLimits& limits = {}) {
  try {
    const XmlDocument document(text, limits);
    return "";
  } catch (const XmlError& error) {
    return error.what();
  }
}

std::string nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) {
    text += "<a>";
  }
  for (int i = 0; i < depth; ++i) {
    text += "</a>";
  }
  return text;
}

TEST(XmlTest, ElementsAreKnownByVocabularyAndNeverByPrefix) {
  const XmlDocument document(
      R"(<x:a xmlns:x="urn:one"><b xmlns="urn:two">text</b><x:b/><b xmlns="urn:one" c="d"/></x:a>)");
  const XmlElement root = document.root();
  EXPECT_TRUE(root.is("urn:one", "a"));
  EXPECT_FALSE(root.is("urn:two", "a"));
  EXPECT_EQ("text", root.child("urn:two", "b")->text());
  EXPECT_EQ("", root.child("urn:one", "b")->text());
  EXPECT_EQ(3U, root.children().size());
  EXPECT_EQ("d", root.children()[2].attribute("c"));
  EXPECT_FALSE(root.child("urn:three", "b"));
  EXPECT_EQ((XmlName{"urn:two", "b"}), root.firstChild()->name());
}

TEST(XmlTest, TextsAreThoseOfTheElementItselfWithoutSpaceAround) {
  const XmlDocument document("<a> \n one <b>not this</b><![CDATA[<two>]]>&amp;\t</a>");
  EXPECT_EQ("one <two>&", document.root().text());
}

TEST(XmlTest, PrefixesInTextsAreLookedUpWhereTheyStand) {
  const XmlDocument document(
      R"(<a xmlns:p="urn:outer" xmlns="urn:default"><b xmlns:p="urn:inner"/></a>)");
  EXPECT_EQ("urn:outer", document.root().nameSpaceOf("p"));
  EXPECT_EQ("urn:inner", document.root().firstChild()->nameSpaceOf("p"));
  EXPECT_EQ("urn:default", document.root().nameSpaceOf(""));
  EXPECT_FALSE(document.root().nameSpaceOf("q"));
}

TEST(XmlTest, AttributesOfAVocabularyAreApartFromThoseWithout) {
  const XmlDocument document(R"(<a xmlns:p="urn:p" p:b="with" b="without"/>)");
  EXPECT_EQ("without", document.root().attribute("b"));
  EXPECT_EQ("with", document.root().attribute("urn:p", "b"));
  EXPECT_FALSE(document.root().attribute("urn:q", "b"));
}

TEST(XmlTest, NoDocumentTypeIsAccepted) {
  EXPECT_EQ("A document type is not accepted", refusalOf("<!DOCTYPE a><a/>"));
  EXPECT_EQ("A document type is not accepted",
            refusalOf(R"(<!DOCTYPE a SYSTEM "http://127.0.0.1:1/a.dtd"><a/>)"));
}

TEST(XmlTest, EntitiesThatGrowAreNotEvenDeclared) {
  std::string text = "<!DOCTYPE a [<!ENTITY e0 \"0123456789\">";
  for (int i = 1; i < 10; ++i) {
    const std::string before = "&e" + std::to_string(i - 1) + ";";
    text += "<!ENTITY e" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) {
      text += before;
    }
    text += "\">";
  }
  EXPECT_EQ("A document type is not accepted", refusalOf(text + "]><a b=\"&e9;\">&e9;</a>"));
}

TEST(XmlTest, FilesOfTheMachineAreNotRead) {
  EXPECT_EQ("A document type is not accepted",
            refusalOf(R"(<!DOCTYPE a [<!ENTITY x SYSTEM "file:///etc/passwd">]><a>&x;</a>)"));
}

TEST(XmlTest, DepthHasALimit) {
  const XmlLimits limits{.depth = 5};
  EXPECT_EQ("", refusalOf(nested(5), limits));
  EXPECT_EQ("Elements are nested too deeply", refusalOf(nested(6), limits));
  EXPECT_EQ("Elements are nested too deeply", refusalOf(nested(100000)));
}

TEST(XmlTest, ElementsBesideEachOtherAreNotDeep) {
  std::string text = "<a>";
  for (int i = 0; i < 200; ++i) {
    text += "<b></b>";
  }
  EXPECT_EQ("", refusalOf(text + "</a>", {.depth = 2}));
}

TEST(XmlTest, NumberOfElementsHasALimit) {
  const XmlLimits limits{.elements = 3};
  EXPECT_EQ("", refusalOf("<a><b/><b/></a>", limits));
  EXPECT_EQ("There are too many elements", refusalOf("<a><b/><b/><b/></a>", limits));
}

TEST(XmlTest, NumberOfAttributesHasALimit) {
  const XmlLimits limits{.attributes = 2};
  EXPECT_EQ("", refusalOf("<a b=\"\" xmlns:c=\"urn:c\"/>", limits));
  EXPECT_EQ("An element has too many attributes",
            refusalOf("<a b=\"\" d=\"\" xmlns:c=\"urn:c\"/>", limits));
}

TEST(XmlTest, SizeHasALimit) {
  const XmlLimits limits{.bytes = 7};
  EXPECT_EQ("", refusalOf("<a></a>", limits));
  EXPECT_EQ("The document is too long", refusalOf("<a> </a>", limits));
}

TEST(XmlTest, WhatIsNotWellFormedIsRefused) {
  for (const char* text : {"", " ", "a", "<a>", "<a></b>", "<a/><b/>", "<a b=c/>", "<p:a/><",
                           "<a>&unknown;</a>", "<a>\xff\xfe</a>", "<a>\x01</a>", "\x00"}) {
    EXPECT_EQ("The document is not well-formed", refusalOf(text)) << text;
  }
}

}  // namespace
}  // namespace device::onvif
