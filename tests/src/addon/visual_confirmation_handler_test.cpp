#include "addon/libs/vigil_pack_lib/guard/visual_confirmation_handler.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <memory>
#include <string>
#include <vector>

#include "events/time_conversion.h"
#include "src/events/wrapper_test_base.h"

namespace {

constexpr const char* EVENT = "xinternal_data";
constexpr const char* EMPTY_DOCUMENT = "<svg><desc></desc></svg>";
constexpr std::int64_t TIMEOUT = 900'000'000;
constexpr std::int64_t MINUTE = 60'000'000;

class VisualConfirmationHandlerTest : public InitializedWrapperTest {
 protected:
  static std::vector<std::string> sentTexts() {
    std::vector<std::string> texts;
    for (const FakeEvents::Sent& sent : FakeEvents::sentTo(EVENT)) {
      texts.push_back(std::get<std::string>(sent.keys.at("svgframe").value));
    }
    FakeEvents::clearSent();
    return texts;
  }

  static std::vector<std::string> texts(std::initializer_list<std::string> list) { return list; }

  static SvgDoc drawing(const std::string& element = "<x/>") { return SvgDoc("<g>", element); }
  static SvgDoc emptyDrawing() { return SvgDoc("<g>"); }

  void enable() {
    ASSERT_TRUE(handler.enable());
    enabledAt = clock.now();
  }

  VisualConfirmationHandler handler{EVENT, TIMEOUT};
  std::int64_t enabledAt = 0;
};

TEST_F(VisualConfirmationHandlerTest, IsDisabledAtFirst) {
  EXPECT_FALSE(handler.isEnabled());
  EXPECT_FALSE(handler.isAllowedToSend());
  EXPECT_FALSE(handler.isAllowedToSend(0));
  EXPECT_FALSE(handler.wasLastEventEmpty());
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(VisualConfirmationHandlerTest, EnablingDeclaresAQuietEventForApplicationData) {
  enable();
  EXPECT_TRUE(handler.isEnabled());
  EXPECT_TRUE(handler.isAllowedToSend());
  ASSERT_EQ(activeTopics(), texts({EVENT}));
  const FakeEvents::Declaration declaration = FakeEvents::activeDeclarations().front();
  EXPECT_TRUE(declaration.stateless);
  ASSERT_TRUE(declaration.keys.contains("svgframe"));
  EXPECT_TRUE(declaration.keys.at("svgframe").data);
  EXPECT_FALSE(declaration.keys.contains("active"));
  EXPECT_EQ(declaration.keys.at("topic2").userDefined, "isApplicationData");
}

TEST_F(VisualConfirmationHandlerTest, SendFailuresAreQuietAtFirst) {
  enable();
  FakeEvents::failSends(1);
  log.clear();
  EXPECT_FALSE(handler.sendEvent(drawing(), enabledAt));
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.priority, LOG_INFO) << line.text;
  }
  EXPECT_FALSE(log.lines().empty());
}

TEST_F(VisualConfirmationHandlerTest, EnablingTwiceDeclaresOnce) {
  enable();
  EXPECT_TRUE(handler.enable());
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  handler.disable();
  wait(MINUTE / 60);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(VisualConfirmationHandlerTest, AFailedDeclarationIsLoggedAndReported) {
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(handler.enable());
  EXPECT_EQ(log.count(LOG_WARNING, "FAILED to create event xinternal_data \n"), 1);
}

TEST_F(VisualConfirmationHandlerTest, EnablingThatFailedLeavesItDisabled) {
  FakeEvents::failDeclares(2);
  EXPECT_FALSE(handler.enable());
  EXPECT_FALSE(handler.isEnabled());
  EXPECT_FALSE(handler.isAllowedToSend());
  EXPECT_FALSE(handler.enable()) << "there is still no event";
  EXPECT_TRUE(handler.enable());
  EXPECT_EQ(activeTopics(), texts({EVENT}));
  EXPECT_TRUE(handler.sendEvent(drawing(), clock.now()));
}

TEST_F(VisualConfirmationHandlerTest, ResumedItSendsForTheRestOfItsTime) {
  const std::int64_t since = clock.now() - 10 * MINUTE;
  ASSERT_TRUE(handler.resume(since));
  EXPECT_EQ(handler.getEnabledSince(), since);
  EXPECT_EQ(activeTopics(), texts({EVENT}));
  EXPECT_TRUE(handler.isAllowedToSend(since + TIMEOUT));
  EXPECT_FALSE(handler.isAllowedToSend(since + TIMEOUT + 1));
}

TEST_F(VisualConfirmationHandlerTest, ResumedWhenItsTimeIsOverItStaysDisabled) {
  EXPECT_FALSE(handler.resume(clock.now() - TIMEOUT - 1));
  EXPECT_FALSE(handler.isEnabled());
  EXPECT_TRUE(activeTopics().empty());
  EXPECT_TRUE(handler.resume(clock.now() - TIMEOUT));
}

TEST_F(VisualConfirmationHandlerTest, ResumingThatFailedLeavesItDisabled) {
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(handler.resume(clock.now()));
  EXPECT_FALSE(handler.isEnabled());
}

TEST_F(VisualConfirmationHandlerTest, DisablingSendsAnEmptyTextAndRemovesTheEvent) {
  enable();
  handler.disable();
  EXPECT_FALSE(handler.isEnabled());
  const std::vector<FakeEvents::Sent> sent = FakeEvents::sentTo(EVENT);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(std::get<std::string>(sent[0].keys.at("svgframe").value), "");
  EXPECT_EQ(sent[0].time, 0);
  wait(100'000);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(VisualConfirmationHandlerTest, DisablingAlsoFollowsAnEmptyDocument) {
  enable();
  ASSERT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  handler.disable();
  EXPECT_EQ(sentTexts(), texts({EMPTY_DOCUMENT, ""}));
  EXPECT_FALSE(handler.wasLastEventEmpty());
}

TEST_F(VisualConfirmationHandlerTest, DisablingTwiceDoesNothingMore) {
  enable();
  handler.disable();
  FakeEvents::clearSent();
  log.clear();
  handler.disable();
  EXPECT_TRUE(sentTexts().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(VisualConfirmationHandlerTest, TheDestructorDisables) {
  auto other = std::make_unique<VisualConfirmationHandler>(EVENT, TIMEOUT);
  ASSERT_TRUE(other->enable());
  other.reset();
  EXPECT_EQ(sentTexts(), texts({""}));
  wait(100'000);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(VisualConfirmationHandlerTest, ADrawingIsSentAtItsTime) {
  enable();
  EXPECT_TRUE(handler.sendEvent(drawing(), enabledAt + 5 * MINUTE));
  const std::vector<FakeEvents::Sent> sent = FakeEvents::sentTo(EVENT);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(std::get<std::string>(sent[0].keys.at("svgframe").value), drawing().toString());
  EXPECT_NEAR(static_cast<double>(sent[0].time),
              static_cast<double>(utils::convertMonotonicToUTC_Time(enabledAt + 5 * MINUTE)),
              static_cast<double>(MINUTE));
}

TEST_F(VisualConfirmationHandlerTest, TwoEmptyDocumentsInARowAreSentOnce) {
  enable();
  EXPECT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  EXPECT_TRUE(handler.wasLastEventEmpty());
  EXPECT_FALSE(handler.sendEvent(emptyDrawing(), enabledAt + 1));
  EXPECT_FALSE(handler.sendEvent(emptyDrawing(), enabledAt + 2));
  EXPECT_EQ(sentTexts(), texts({EMPTY_DOCUMENT}));
}

TEST_F(VisualConfirmationHandlerTest, AfterADrawingTheNextEmptyDocumentIsSent) {
  enable();
  EXPECT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  EXPECT_TRUE(handler.sendEvent(drawing(), enabledAt + 1));
  EXPECT_FALSE(handler.wasLastEventEmpty());
  EXPECT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt + 2));
  EXPECT_EQ(sentTexts(), texts({EMPTY_DOCUMENT, drawing().toString(), EMPTY_DOCUMENT}));
}

TEST_F(VisualConfirmationHandlerTest, AnEmptyDocumentCountsEvenWhenSendingFailed) {
  enable();
  FakeEvents::failSends(1);
  EXPECT_FALSE(handler.sendEvent(emptyDrawing(), enabledAt));
  EXPECT_TRUE(handler.wasLastEventEmpty());
  EXPECT_FALSE(handler.sendEvent(emptyDrawing(), enabledAt));
  EXPECT_TRUE(sentTexts().empty());
}

TEST_F(VisualConfirmationHandlerTest, AFailedDrawingLeavesTheCount) {
  enable();
  ASSERT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  FakeEvents::failSends(1);
  EXPECT_FALSE(handler.sendEvent(drawing(), enabledAt));
  EXPECT_TRUE(handler.wasLastEventEmpty());
}

TEST_F(VisualConfirmationHandlerTest, DrawingsEndAfterTheTimeout) {
  enable();
  EXPECT_TRUE(handler.isAllowedToSend(enabledAt + TIMEOUT));
  EXPECT_FALSE(handler.isAllowedToSend(enabledAt + TIMEOUT + 1));
  EXPECT_TRUE(handler.sendEvent(drawing(), enabledAt + TIMEOUT));
  FakeEvents::clearSent();
  EXPECT_TRUE(handler.sendEvent(drawing(), enabledAt + TIMEOUT + 1));
  EXPECT_FALSE(handler.sendEvent(drawing(), enabledAt + TIMEOUT + 2));
  EXPECT_FALSE(handler.sendEvent(emptyDrawing(), enabledAt + TIMEOUT + 3));
  EXPECT_EQ(sentTexts(), texts({""}));
  EXPECT_TRUE(handler.isEnabled());
}

TEST_F(VisualConfirmationHandlerTest, AfterTheTimeoutAClearedScreenIsNotClearedAgain) {
  enable();
  ASSERT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  FakeEvents::clearSent();
  EXPECT_FALSE(handler.sendEvent(drawing(), enabledAt + TIMEOUT + 1));
  EXPECT_TRUE(sentTexts().empty());
}

TEST_F(VisualConfirmationHandlerTest, TheTimeoutIsReadFromTheClockWhereNoTimeIsGiven) {
  enable();
  clock.set(enabledAt + TIMEOUT);
  EXPECT_TRUE(handler.isAllowedToSend());
  clock.set(enabledAt + TIMEOUT + 1);
  EXPECT_FALSE(handler.isAllowedToSend());
}

TEST_F(VisualConfirmationHandlerTest, EnablingAgainStartsTheTimeAnew) {
  enable();
  ASSERT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  clock.set(enabledAt + TIMEOUT + 1);
  ASSERT_FALSE(handler.isAllowedToSend());
  EXPECT_TRUE(handler.enable());
  EXPECT_FALSE(handler.wasLastEventEmpty());
  EXPECT_TRUE(handler.isAllowedToSend());
  EXPECT_TRUE(handler.sendEvent(drawing(), enabledAt + 2 * TIMEOUT));
}

TEST_F(VisualConfirmationHandlerTest, WhileDisabledNothingIsSent) {
  EXPECT_FALSE(handler.sendEvent(drawing(), clock.now()));
  EXPECT_TRUE(sentTexts().empty());
}

TEST_F(VisualConfirmationHandlerTest, ATextIsWrappedInADocument) {
  enable();
  EXPECT_TRUE(handler.sendEvent("<x/>", enabledAt));
  EXPECT_EQ(sentTexts(), texts({SvgDoc("", "<x/>").toString()}));
}

TEST_F(VisualConfirmationHandlerTest, ATextWithoutATimeIsSentAsItIs) {
  enable();
  EXPECT_TRUE(handler.sendEvent("plain"));
  const std::vector<FakeEvents::Sent> sent = FakeEvents::sentTo(EVENT);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(std::get<std::string>(sent[0].keys.at("svgframe").value), "plain");
  EXPECT_EQ(sent[0].time, 0);
}

TEST_F(VisualConfirmationHandlerTest, AnEmptyEventIsAnEmptyDocumentWithoutATime) {
  enable();
  EXPECT_TRUE(handler.sendEmptyEvent());
  EXPECT_TRUE(handler.wasLastEventEmpty());
  const std::vector<FakeEvents::Sent> sent = FakeEvents::sentTo(EVENT);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(std::get<std::string>(sent[0].keys.at("svgframe").value), EMPTY_DOCUMENT);
  EXPECT_EQ(sent[0].time, 0);
}

TEST_F(VisualConfirmationHandlerTest, AnEmptyEventThatFailsIsNotCounted) {
  enable();
  FakeEvents::failSends(1);
  EXPECT_FALSE(handler.sendEmptyEvent());
  EXPECT_FALSE(handler.wasLastEventEmpty());
}

TEST_F(VisualConfirmationHandlerTest, ClearingSendsOneEmptyDocument) {
  enable();
  ASSERT_TRUE(handler.sendEvent(drawing(), enabledAt));
  FakeEvents::clearSent();
  handler.clearScreen();
  EXPECT_EQ(sentTexts(), texts({EMPTY_DOCUMENT}));
  EXPECT_FALSE(handler.wasLastEventEmpty());
}

TEST_F(VisualConfirmationHandlerTest, AClearScreenIsNotClearedAgain) {
  enable();
  ASSERT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  FakeEvents::clearSent();
  handler.clearScreen();
  EXPECT_TRUE(sentTexts().empty());
  EXPECT_FALSE(handler.wasLastEventEmpty());
}

TEST_F(VisualConfirmationHandlerTest, AfterClearingTheNextEmptyDocumentIsSentAgain) {
  enable();
  ASSERT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  ASSERT_FALSE(handler.sendEvent(emptyDrawing(), enabledAt));
  FakeEvents::clearSent();
  handler.clearScreen();
  EXPECT_TRUE(handler.sendEvent(emptyDrawing(), enabledAt));
  EXPECT_EQ(sentTexts(), texts({EMPTY_DOCUMENT}));
}

TEST_F(VisualConfirmationHandlerTest, ClearingWhileDisabledDoesNothing) {
  handler.clearScreen();
  EXPECT_TRUE(sentTexts().empty());
  EXPECT_FALSE(handler.wasLastEventEmpty());
}

}  // namespace
