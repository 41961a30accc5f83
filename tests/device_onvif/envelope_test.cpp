#include "onvif/envelope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "onvif/fault.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char SOAP_BEGIN[] = "<e:Envelope xmlns:e=\"http://www.w3.org/2003/05/soap-envelope\">";

std::string message(const std::string& header, const std::string& body) {
  return SOAP_BEGIN + header + "<e:Body>" + body + "</e:Body></e:Envelope>";
}

Fault faultOf(const std::string& text) {
  try {
    readEnvelope(text);
  } catch (const Fault& fault) {
    return fault;
  }
  ADD_FAILURE() << "accepted: " << text;
  return notAuthorized();
}

std::string security(const std::string& token) {
  return "<e:Header><x:Security e:mustUnderstand=\"1\" xmlns:x=\"http://docs.oasis-open.org/wss/"
         "2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd\" "
         "xmlns:y=\"http://docs.oasis-open.org/"
         "wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd\">" +
         token + "</x:Security></e:Header>";
}

TEST(EnvelopeTest, OperationIsTheFirstElementOfTheBodyUnderAnyPrefix) {
  const Envelope envelope = readEnvelope(message(
      "", "<!-- a comment --> <q:GetNodes xmlns:q=\"urn:q\"/><q:Other xmlns:q=\"urn:q\"/>"));
  EXPECT_TRUE(envelope.operation.is("urn:q", "GetNodes"));
  EXPECT_FALSE(envelope.token);
  EXPECT_EQ("", envelope.messageId);
}

TEST(EnvelopeTest, TokenAndMessageIdAreReadFromTheHeader) {
  const Envelope envelope = readEnvelope(message(
      security("<x:UsernameToken><x:Username>anna</x:Username><x:Password Type=\"http://docs.oasis-"
               "open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0#PasswordDigest\">"
               "abc=</x:Password><x:Nonce>AAECAwQFBgcICQoLDA0ODw==</x:Nonce><y:Created>"
               "2026-01-01T12:00:00.000Z</y:Created></x:UsernameToken>"),
      "<a/>"));
  ASSERT_TRUE(envelope.token);
  EXPECT_EQ("anna", envelope.token->user);
  EXPECT_EQ("abc=", envelope.token->digest);
  EXPECT_EQ(std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17", 16), envelope.token->nonce);
  EXPECT_EQ("2026-01-01T12:00:00.000Z", envelope.token->created);
  EXPECT_EQ("urn:1", readEnvelope(message("<e:Header><w:MessageID xmlns:w=\"http://www.w3.org/2005/"
                                          "08/addressing\">urn:1</w:MessageID></e:Header>",
                                          "<a/>"))
                         .messageId);
}

TEST(EnvelopeTest, PasswordInClearIsNoDigest) {
  const Envelope envelope = readEnvelope(
      message(security("<x:UsernameToken><x:Username>anna</x:Username><x:Password>secret"
                       "</x:Password></x:UsernameToken>"),
              "<a/>"));
  EXPECT_EQ("", envelope.token->digest);
}

// Worked out with a program of another's: SHA-1 of the bytes 0 to 15, the moment and "pass".
TEST(EnvelopeTest, DigestIsMadeOfTheNoncesBytes) {
  EXPECT_EQ("FSjqpIwtMZauG5JawojqwxCt5eU=",
            passwordDigest(std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17", 16),
                           "2026-01-01T12:00:00.000Z", "pass"));
}

TEST(EnvelopeTest, SecretsAreTheSameOnlyAsAWhole) {
  EXPECT_TRUE(isSameSecret("abc", "abc"));
  EXPECT_FALSE(isSameSecret("abc", "abd"));
  EXPECT_FALSE(isSameSecret("abc", "ab"));
  EXPECT_FALSE(isSameSecret("", "a"));
}

TEST(EnvelopeTest, FormerSoapIsToldWhichOneIsSpoken) {
  const Fault fault = faultOf(
      "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body><a/></e:Body>"
      "</e:Envelope>");
  EXPECT_EQ(FaultCode::versionMismatch, fault.getCode());
  EXPECT_THAT(fault.getSubcodes(), IsEmpty());
}

TEST(EnvelopeTest, WhatIsNoMessageIsNotWellFormed) {
  for (const std::string& text :
       {std::string(), std::string("no XML"), std::string("<a/>"), std::string("<!DOCTYPE a><a/>"),
        message("", ""), std::string(SOAP_BEGIN) + "</e:Envelope>"}) {
    const Fault fault = faultOf(text);
    EXPECT_EQ(FaultCode::sender, fault.getCode()) << text;
    EXPECT_THAT(fault.getSubcodes(), ElementsAre("ter:WellFormed")) << text;
  }
}

TEST(EnvelopeTest, HeaderThatHasToBeUnderstoodAndIsNotIsAFault) {
  const auto header = [](const std::string& must) {
    return "<e:Header><z:Own xmlns:z=\"urn:z\" e:mustUnderstand=\"" + must + "\"/></e:Header>";
  };
  EXPECT_EQ(FaultCode::mustUnderstand, faultOf(message(header("1"), "<a/>")).getCode());
  EXPECT_EQ(FaultCode::mustUnderstand, faultOf(message(header("true"), "<a/>")).getCode());
  EXPECT_NO_THROW(readEnvelope(message(header("0"), "<a/>")));
}

TEST(EnvelopeTest, FaultTellsItsSubcodesFromTheGeneralToTheParticular) {
  const std::string text = writeEnvelope(invalidArgument("ter:NoProfile", "There is none").tag());
  const XmlDocument document(text);
  constexpr char SOAP_NAME[] = "http://www.w3.org/2003/05/soap-envelope";
  const XmlElement fault = *document.root().child(SOAP_NAME, "Body")->firstChild();
  const XmlElement code = *fault.child(SOAP_NAME, "Code");
  EXPECT_EQ("s:Sender", code.child(SOAP_NAME, "Value")->text());
  const XmlElement general = *code.child(SOAP_NAME, "Subcode");
  EXPECT_EQ("ter:InvalidArgVal", general.child(SOAP_NAME, "Value")->text());
  const XmlElement particular = *general.child(SOAP_NAME, "Subcode");
  EXPECT_EQ("ter:NoProfile", particular.child(SOAP_NAME, "Value")->text());
  EXPECT_EQ("http://www.onvif.org/ver10/error", particular.nameSpaceOf("ter"));
  EXPECT_EQ("There is none", fault.child(SOAP_NAME, "Reason")->firstChild()->text());
  EXPECT_EQ(400U, invalidArguments("").httpStatus());
  EXPECT_EQ(500U, Fault(FaultCode::receiver, {}, "").httpStatus());
}

}  // namespace
}  // namespace device::onvif
