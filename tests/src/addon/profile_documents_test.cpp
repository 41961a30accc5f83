// The two documents that tell clients of profiles, to the byte: clients compare and keep them.
#include <gtest/gtest.h>

#include "addon/libs/vigil_pack_lib/factory/cgi_pack.h"
#include "addon/libs/vigil_pack_lib/factory/tracker_default_config_creator.h"
#include "src/addon/parsed_entries.h"
#include "src/events/wrapper_test_base.h"

namespace {

// Limits and defaults of which no two are the same.
DataBoundaries distinctBoundaries() {
  DataBoundaries limits;
  limits.shortLivedMax = 101;
  limits.shortLivedMin = 102;
  limits.excludeAreasMax = 103;
  limits.excludeAreasMin = 104;
  limits.includeAreasMax = 105;
  limits.includeAreasMin = 106;
  limits.loiteringAreasMax = 107;
  limits.loiteringAreasMin = 108;
  limits.fencesMax = 109;
  limits.fencesMin = 110;
  limits.verticesMax = 111;
  limits.verticesMin = 112;
  limits.conditionParameters = {113, 114, 115, 116, 117, 118, 119, 120};
  limits.sizePercentWidthMax = 121;
  limits.sizePercentWidthMin = 122;
  limits.sizePercentHeightMax = 123;
  limits.sizePercentHeightMin = 124;
  limits.swayingPercentMax = 125;
  limits.swayingPercentMin = 126;
  limits.presetsPerProfileMax = 127;
  limits.nameLengthMin = 128;
  limits.nameLengthMax = 129;
  limits.profilesPerCameraMin = 130;
  limits.profilesFixedCameraMax = 131;
  return limits;
}

DefaultValues distinctDefaults() {
  DefaultValues values;
  values.sizePercentWidth = 201;
  values.sizePercentHeight = 202;
  values.sizePercentActive = false;
  values.shortLived = 203;
  values.swayingPercent = 204;
  values.swayingActive = false;
  values.individualCondition = 205;
  values.individualConditionActive = true;
  values.groupCondition = 206;
  values.includeArea = {-0.1, 0.2, -0.3, 0.4};
  values.alarmDirection = "both";
  values.loiteringAndFence = {-0.5, 0.6, -0.7, 0.8};
  values.preset = PRESET_ANY;
  return values;
}

// What kind of device it is is read once for the process: each test asks in a process of its own,
// as ctest runs them.
class ProfileDocumentsTest : public InitializedWrapperTest {};

TEST_F(ProfileDocumentsTest, TheCapabilitiesAreTheseBytes) {
  EXPECT_EQ(
      writtenAs(CGI_Pack(DataBoundaries(), DefaultValues()).capabilities()),
      R"({"profiles":{"minNbrProfilesPerCamera":0,"maxNbrProfilesPerCamera":3,)"
      R"("minLengthName":1,"maxLengthName":15},)"
      R"("presets":{"maxNbrPresetsPerProfile":1,"defaultPreset":-2},)"
      R"("triggers":[)"
      R"({"type":"includeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
      R"("maxNbrVertices":20,"minNbrInstances":1,"maxNbrInstances":1,"defaultInstance":1,)"
      R"("default":[[-0.97,-0.97],[-0.97,0.97],[0.97,0.97],[0.97,-0.97]]},)"
      R"({"type":"loiteringArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
      R"("maxNbrVertices":20,"minNbrInstances":0,"maxNbrInstances":0,"defaultInstance":0,)"
      R"("default":[[-0.2,-0.2],[-0.2,0.2],[0.2,0.2],[0.2,-0.2]],)"
      R"("conditions":[{"type":"individual","defaultActive":false,"default":0,"max":0,"min":0},)"
      R"({"type":"group","defaultActive":false,"default":0,"max":0,"min":0}]},)"
      R"({"type":"fence","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
      R"("maxNbrVertices":20,"minNbrInstances":0,"maxNbrInstances":0,"defaultInstance":0,)"
      R"("default":[[-0.2,-0.2],[0.2,0.2]],"defaultAlarmDirection":"leftToRight"}],)"
      R"("filters":[)"
      R"({"type":"timeShortLivedLimit","min":1,"max":5,"default":1,"defaultActive":true},)"
      R"({"type":"distanceSwayingObject","min":3,"max":20,"default":5,"defaultActive":true},)"
      R"({"type":"sizePercentage","min":[3,3],"max":[100,100],"default":[5,5],)"
      R"("defaultActive":true},)"
      R"({"type":"excludeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
      R"("maxNbrVertices":20,"minNbrInstances":0,"maxNbrInstances":3,"defaultInstance":0,)"
      R"("default":[[-0.2,-0.2],[-0.2,0.2],[0.2,0.2],[0.2,-0.2]]}]})");
}

TEST_F(ProfileDocumentsTest, EachCapabilityIsOfItsOwnLimitAndDefault) {
  const DataBoundaries limits = distinctBoundaries();
  const DefaultValues values = distinctDefaults();
  EXPECT_EQ(
      writtenAs(CGI_Pack(limits, values).capabilities()),
      R"({"profiles":{"minNbrProfilesPerCamera":130,"maxNbrProfilesPerCamera":131,)"
      R"("minLengthName":128,"maxLengthName":129},)"
      R"("presets":{"maxNbrPresetsPerProfile":127,"defaultPreset":-1},)"
      R"("triggers":[)"
      R"({"type":"includeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":112,)"
      R"("maxNbrVertices":111,"minNbrInstances":106,"maxNbrInstances":105,"defaultInstance":1,)"
      R"("default":[[-0.1,-0.3],[-0.1,0.4],[0.2,0.4],[0.2,-0.3]]},)"
      R"({"type":"loiteringArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":112,)"
      R"("maxNbrVertices":111,"minNbrInstances":108,"maxNbrInstances":107,"defaultInstance":0,)"
      R"("default":[[-0.5,-0.7],[-0.5,0.8],[0.6,0.8],[0.6,-0.7]],)"
      R"("conditions":[)"
      R"({"type":"individual","defaultActive":true,"default":205,"max":113,"min":114},)"
      R"({"type":"group","defaultActive":false,"default":206,"max":115,"min":116}]},)"
      R"({"type":"fence","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":112,)"
      R"("maxNbrVertices":111,"minNbrInstances":110,"maxNbrInstances":109,"defaultInstance":0,)"
      R"("default":[[-0.5,-0.7],[0.6,0.8]],"defaultAlarmDirection":"both"}],)"
      R"("filters":[)"
      R"({"type":"timeShortLivedLimit","min":102,"max":101,"default":203,"defaultActive":true},)"
      R"({"type":"distanceSwayingObject","min":126,"max":125,"default":204,)"
      R"("defaultActive":false},)"
      R"({"type":"sizePercentage","min":[122,124],"max":[121,123],"default":[201,202],)"
      R"("defaultActive":false},)"
      R"({"type":"excludeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":112,)"
      R"("maxNbrVertices":111,"minNbrInstances":104,"maxNbrInstances":103,"defaultInstance":0,)"
      R"("default":[[-0.5,-0.7],[-0.5,0.8],[0.6,0.8],[0.6,-0.7]]}]})");
}

TEST_F(ProfileDocumentsTest, TheDefaultDocumentIsTheseBytes) {
  EXPECT_EQ(writtenAs(TrackerDefaultConfigCreator(false).create(DefaultValues(), "1.0")),
            R"({"apiVersion":"1.0","context":"","method":"setConfiguration",)"
            R"("params":{"cameras":[{"id":1,"active":true,"rotation":0}],)"
            R"("profiles":[{"uid":1,"camera":1,"name":"Profile 1",)"
            R"("triggers":[{"type":"includeArea",)"
            R"("data":[[-0.97,-0.97],[-0.97,0.97],[0.97,0.97],[0.97,-0.97]]}],)"
            R"("filters":[{"active":true,"data":[5,5],"type":"sizePercentage"},)"
            R"({"active":true,"data":1,"type":"timeShortLivedLimit"},)"
            R"({"active":true,"data":5,"type":"distanceSwayingObject"}],)"
            R"("perspective":[],"priority":1}],"configurationStatus":0}})");
}

TEST_F(ProfileDocumentsTest, EachDefaultEntryIsOfItsOwnDefault) {
  EXPECT_EQ(writtenAs(TrackerDefaultConfigCreator(true).create(distinctDefaults(), "1.0")),
            R"({"apiVersion":"1.0","context":"","method":"setConfiguration",)"
            R"("params":{"cameras":[{"id":1,"active":true,"rotation":0}],)"
            R"("profiles":[{"uid":1,"camera":1,"name":"Profile 1",)"
            R"("triggers":[{"type":"includeArea",)"
            R"("data":[[-0.1,-0.3],[-0.1,0.4],[0.2,0.4],[0.2,-0.3]]}],)"
            R"("filters":[{"active":false,"data":[201,202],"type":"sizePercentage"},)"
            R"({"active":true,"data":203,"type":"timeShortLivedLimit"},)"
            R"({"active":false,"data":204,"type":"distanceSwayingObject"}],)"
            R"("presets":[],"perspective":[],"priority":1}],"configurationStatus":0}})");
}

}  // namespace
