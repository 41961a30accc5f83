#ifndef DEVICE_MODEL_MODEL_H
#define DEVICE_MODEL_MODEL_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "head/head.h"
#include "model/model_error.h"
#include "world/world_setup.h"

namespace device {

// A device as its model file describes it. Parameters that follow from channels and head are filled
// in by the loader, so that store and physics always agree; a file may still name them itself:
//
//   root.ImageSource.NbrOfSources, root.ImageSource.I<n>.Name,
//   root.ImageSource.I<n>.Sensor.AspectRatio, root.Image.I<n>.Appearance.Resolution  (n from 0)
//   root.PTZ.RemoteCenter.C<n>.Pan, .Tilt, .Roll                                     (n from 1)
struct Model {
  std::string name;
  std::string about;  // for people

  // The parameter store: full names ("root.Brand.ProdNbr") and values.
  std::map<std::string, std::string> parameters;

  // What the head answers on its remote channel: names without "root." ("Brand.ProdNbr",
  // "PTZ.Limit.L1.MaxFieldAngle" in tenths of a degree, ...).
  std::map<std::string, std::string> headParameters;

  HeadSetup head;
  double headBootSeconds = 0;  // time after start in which the remote channel answers "not ready"

  WorldSetup world;

  // True when the device's own answers make it a camera with a mechanical PTZ head.
  bool isMechanical() const;
};

// Reads a model file. A file with "base": "NAME" starts from NAME.json of the same folder and
// replaces what it names itself. Throws ModelError.
Model loadModel(const std::filesystem::path& file);

// The same for a file elsewhere: a base that is not beside it is one of the other folder.
Model loadModelFile(const std::filesystem::path& file, const std::filesystem::path& otherFolder);

// Reads FOLDER/NAME.json; the error of an unknown name lists the known ones. Throws ModelError.
Model loadModel(const std::filesystem::path& folder, const std::string& name);

// The names of all models of a folder, sorted.
std::vector<std::string> modelNames(const std::filesystem::path& folder);

}  // namespace device

#endif
