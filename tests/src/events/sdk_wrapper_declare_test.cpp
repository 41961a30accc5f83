#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "events/event_key_value_set.h"
#include "events/sdk_wrapper.h"
#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Declaration;
using FakeEvents::Key;
using FakeEvents::Value;

// What people read for the value of a key.
bool hasNiceName(const Key& key, const std::string& name) {
  return key.valueNiceName == name || key.keyNiceName == name;
}

std::string alreadyDeclared(const std::string& name) {
  return "Cannot add event " + name + " as it is already declared, but with other properties\n";
}

class SdkWrapperDeclareTest : public InitializedWrapperTest {
 protected:
  static Declaration onlyDeclaration() {
    const std::vector<Declaration> all = FakeEvents::declarations();
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? Declaration{} : all.front();
  }

  static OVEventKeyValueSet* ownSet() {
    return EventKeyValueSet().add("topic0", "tnsorva", "Own").add("value", nullptr, 5).release();
  }
};

using SdkWrapperBeforeInitTest = WrapperTest;

TEST_F(SdkWrapperBeforeInitTest, AnEventCannotBeDeclared) {
  EXPECT_FALSE(sdk_wrapper_event_add("name", "topic", "Nice", SDK_EVENT_STATEFUL));
  EXPECT_EQ(log.count("Cannot register event Nice (handler not initialized)\n"), 1);
  EXPECT_TRUE(FakeEvents::declarations().empty());
}

TEST_F(SdkWrapperBeforeInitTest, AnEventWithOwnKeysCannotBeDeclaredAndItsSetIsFreed) {
  OVEventKeyValueSet* const set = EventKeyValueSet().add("value", nullptr, 5).release();
  ASSERT_EQ(FakeEvents::setsAlive(), 1);
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Nice", 0, "", set));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  ASSERT_EQ(log.lines().size(), 1U);
  const std::string text = log.lines()[0].text;
  EXPECT_TRUE(text.starts_with("SDK Wrapper: Cannot register event ")) << text;
  EXPECT_TRUE(text.ends_with(" (handler not initialized)\n")) << text;
}

TEST_F(SdkWrapperBeforeInitTest, AMotionAlarmCannotBeDeclared) {
  EXPECT_FALSE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 1, 0));
  EXPECT_TRUE(FakeEvents::declarations().empty());
}

TEST_F(SdkWrapperDeclareTest, AnEventHasTheTopicsOfTheApplication) {
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice topic", 0));
  const Declaration declaration = onlyDeclaration();
  ASSERT_EQ(declaration.keys.size(), 3U);
  for (const auto& [name, key] : declaration.keys) {
    EXPECT_EQ(key.nameSpace, "tnsorva") << name;
    EXPECT_FALSE(key.source) << name;
    EXPECT_FALSE(key.data) << name;
    EXPECT_TRUE(key.userDefinedTags.empty()) << name;
  }
  const Key topic0 = declaration.keys.at("topic0");
  EXPECT_EQ(topic0.value, Value("MiruPlatform"));
  EXPECT_EQ(topic0.keyNiceName + topic0.valueNiceName, "");
  EXPECT_EQ(declaration.keys.at("topic1").value, Value("SentrelVideo"));
  EXPECT_TRUE(hasNiceName(declaration.keys.at("topic1"), "Sentrel Video"));
  EXPECT_EQ(declaration.keys.at("topic2").value, Value("Topic"));
  EXPECT_TRUE(hasNiceName(declaration.keys.at("topic2"), "Nice topic"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperDeclareTest, WithoutTheStatefulFlagAnEventIsStateless) {
  sdk_wrapper_event_add("name", "Topic", "Nice",
                        SDK_EVENT_QUIET | SDK_EVENT_APPLICATION_DATA | SDK_EVENT_DEPRECATED);
  EXPECT_TRUE(onlyDeclaration().stateless);
  EXPECT_FALSE(onlyDeclaration().keys.contains("active"));
}

TEST_F(SdkWrapperDeclareTest, AStatefulEventHasADataKeyActive) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL);
  const Declaration declaration = onlyDeclaration();
  EXPECT_FALSE(declaration.stateless);
  ASSERT_TRUE(declaration.keys.contains("active"));
  const Key active = declaration.keys.at("active");
  EXPECT_EQ(active.nameSpace, "");
  EXPECT_TRUE(active.data);
  EXPECT_EQ(active.value, Value(false));
}

TEST_F(SdkWrapperDeclareTest, ADataKeyIsAnEmptyTextMarkedAsData) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "svgframe");
  const Declaration declaration = onlyDeclaration();
  ASSERT_TRUE(declaration.keys.contains("svgframe"));
  const Key data = declaration.keys.at("svgframe");
  EXPECT_EQ(data.nameSpace, "");
  EXPECT_EQ(data.value, Value(""));
  EXPECT_TRUE(data.data);
}

TEST_F(SdkWrapperDeclareTest, TheApplicationDataFlagTagsTheTopic) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_APPLICATION_DATA);
  EXPECT_EQ(onlyDeclaration().keys.at("topic2").userDefinedTags,
            std::vector<std::string>{"isApplicationData"});
}

TEST_F(SdkWrapperDeclareTest, TheDeprecatedFlagTagsTheTopic) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_DEPRECATED);
  EXPECT_EQ(onlyDeclaration().keys.at("topic2").userDefinedTags,
            std::vector<std::string>{"isDeprecated"});
}

TEST_F(SdkWrapperDeclareTest, BothTagsMayStandTogether) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_APPLICATION_DATA | SDK_EVENT_DEPRECATED);
  EXPECT_EQ(onlyDeclaration().keys.at("topic2").userDefinedTags.size(), 2U);
}

TEST_F(SdkWrapperDeclareTest, TheSameNameWithEqualPropertiesIsShared) {
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL, "key"));
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL, "key"));
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperDeclareTest, AnotherDataKeyIsRefused) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "one");
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Topic", "Nice", 0, "two"));
  EXPECT_EQ(log.count(alreadyDeclared("name")), 1);
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
}

TEST_F(SdkWrapperDeclareTest, ADataKeyWhereThereWasNoneIsRefused) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Topic", "Nice", 0, "key"));
  EXPECT_EQ(log.count(alreadyDeclared("name")), 1);
}

TEST_F(SdkWrapperDeclareTest, OtherFlagsAreRefused) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL);
  EXPECT_FALSE(
      sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL | SDK_EVENT_QUIET));
  EXPECT_EQ(log.count(alreadyDeclared("name")), 1);
}

TEST_F(SdkWrapperDeclareTest, ARefusedDeclarationNeedsNoRemoval) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "key");
  EXPECT_TRUE(sdk_wrapper_event_remove("name"));
  wait(60'000);
  EXPECT_TRUE(FakeEvents::activeDeclarations().empty());
}

TEST_F(SdkWrapperDeclareTest, ANameOfAMotionAlarmIsRefusedForAnApplicationEvent) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("name", 2, 0);
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_QUIET));
  EXPECT_EQ(log.count(alreadyDeclared("name")), 1);
}

TEST_F(SdkWrapperDeclareTest, ALongDataKeyIsCutTo127Characters) {
  const std::string longKey(200, 'k');
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", 0, longKey));
  EXPECT_TRUE(onlyDeclaration().keys.contains(longKey.substr(0, 127)));
  EXPECT_FALSE(onlyDeclaration().keys.contains(longKey));
}

TEST_F(SdkWrapperDeclareTest, ALongDataKeyIsSharedAsAnyOther) {
  const std::string longKey(128, 'k');
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", 0, longKey));
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", 0, longKey));
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
}

TEST_F(SdkWrapperDeclareTest, AFailedDeclarationIsLoggedAndForgotten) {
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Topic", "Nice", 0));
  EXPECT_EQ(log.count("Cannot declare event name (internal error)\n"), 1);
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", 0, "other key"));
}

TEST_F(SdkWrapperDeclareTest, AKeyThatCannotBeAddedFailsTheDeclaration) {
  for (int failing = 1; failing <= 5; ++failing) {
    FakeEvents::failAdds(failing);
    EXPECT_FALSE(sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL, "key"));
    FakeEvents::failAdds(0);
  }
  EXPECT_EQ(log.count("Cannot declare event name (internal error)\n"), 5);
  EXPECT_TRUE(FakeEvents::declarations().empty());
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
}

TEST_F(SdkWrapperDeclareTest, AnEventMayHaveKeysOfItsOwn) {
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Nice", 0, "", ownSet()));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  const Declaration declaration = onlyDeclaration();
  EXPECT_EQ(declaration.keys.at("topic0").value, Value("Own"));
  EXPECT_EQ(declaration.keys.at("value").value, Value(5));
  EXPECT_TRUE(declaration.stateless);
}

TEST_F(SdkWrapperDeclareTest, AStatefulEventMayHaveKeysOfItsOwn) {
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Nice", SDK_EVENT_STATEFUL, "", ownSet()));
  EXPECT_FALSE(onlyDeclaration().stateless);
}

TEST_F(SdkWrapperDeclareTest, OwnKeysOfASharedEventAreFreed) {
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Nice", 0, "", ownSet()));
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Nice", 0, "", ownSet()));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
}

TEST_F(SdkWrapperDeclareTest, OwnKeysOfARefusedEventAreFreed) {
  EXPECT_TRUE(sdk_wrapper_event_add("name", "Nice", 0, "", ownSet()));
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Nice", 0, "key", ownSet()));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  EXPECT_EQ(log.count("SDK Wrapper: " + alreadyDeclared("name")), 1);
}

TEST_F(SdkWrapperDeclareTest, OwnKeysOfAFailedDeclarationAreFreed) {
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(sdk_wrapper_event_add("name", "Nice", 0, "", ownSet()));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  EXPECT_EQ(log.count("SDK Wrapper: Cannot declare event name (internal error)\n"), 1);
}

TEST_F(SdkWrapperDeclareTest, TheMotionAlarmHasItsTopicsSourceAndState) {
  EXPECT_TRUE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 1));
  const Declaration declaration = onlyDeclaration();
  EXPECT_FALSE(declaration.stateless);
  ASSERT_EQ(declaration.keys.size(), 4U);
  EXPECT_EQ(declaration.keys.at("topic0").nameSpace, "tns1");
  EXPECT_EQ(declaration.keys.at("topic0").value, Value("VideoSource"));
  EXPECT_EQ(declaration.keys.at("topic1").nameSpace, "tns1");
  EXPECT_EQ(declaration.keys.at("topic1").value, Value("MotionAlarm"));
  const Key source = declaration.keys.at("Source");
  EXPECT_EQ(source.nameSpace, "");
  EXPECT_EQ(source.value, Value(3));
  EXPECT_TRUE(source.source);
  EXPECT_FALSE(source.data);
  EXPECT_EQ(source.userDefined, "wstype:tt:ReferenceToken");
  const Key state = declaration.keys.at("State");
  EXPECT_EQ(state.nameSpace, "");
  EXPECT_EQ(state.value, Value(true));
  EXPECT_TRUE(state.data);
  EXPECT_FALSE(state.source);
}

TEST_F(SdkWrapperDeclareTest, TheSameMotionAlarmIsShared) {
  EXPECT_TRUE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0));
  EXPECT_TRUE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0));
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  sdk_wrapper_event_remove("motion");
  wait(60'000);
  EXPECT_EQ(FakeEvents::activeDeclarations().size(), 1U);
  sdk_wrapper_event_remove("motion");
  wait(60'000);
  EXPECT_TRUE(FakeEvents::activeDeclarations().empty());
}

TEST_F(SdkWrapperDeclareTest, AMotionAlarmOfAnotherSourceIsRefused) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0);
  EXPECT_FALSE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 4, 0));
  EXPECT_EQ(log.count(alreadyDeclared("motion")), 1);
}

TEST_F(SdkWrapperDeclareTest, AMotionAlarmUnderTheNameOfAnotherEventIsRefused) {
  sdk_wrapper_event_add("stateful", "Topic", "Nice", SDK_EVENT_STATEFUL);
  sdk_wrapper_event_add("with data", "Topic", "Nice", SDK_EVENT_QUIET, "key");
  EXPECT_FALSE(sdk_wrapper_event_add_onvif_motion_alarm_event("stateful", 0, 0));
  EXPECT_FALSE(sdk_wrapper_event_add_onvif_motion_alarm_event("with data", 0, 0));
  EXPECT_EQ(log.count(alreadyDeclared("stateful")), 1);
  EXPECT_EQ(log.count(alreadyDeclared("with data")), 1);
}

TEST_F(SdkWrapperDeclareTest, AFailedMotionAlarmIsLoggedAndForgotten) {
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0));
  EXPECT_EQ(log.count("Cannot declare ONVIF Motion Alarm event motion (internal error)\n"), 1);
  EXPECT_TRUE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 4, 0));
}

TEST_F(SdkWrapperDeclareTest, AMotionAlarmKeyThatCannotBeAddedFailsTheDeclaration) {
  FakeEvents::failAdds(1);
  EXPECT_FALSE(sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0));
  EXPECT_TRUE(FakeEvents::declarations().empty());
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
}

}  // namespace
