#ifndef DEVICE_ONVIF_SERVER_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_OPERATIONS_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "onvif/tag.h"
#include "onvif/xml.h"

namespace device::onvif {

// Who may call an operation, where users are asked for.
enum class Access { anybody, user };

// One call of an operation.
struct Request {
  XmlElement body;   // the operation's element
  std::string host;  // as the client names the device: "127.0.0.1:8081"
  std::string path;  // to which the request was sent
};

// What clients can call: an operation is the name of the first element in a message's body,
// wherever it was sent.
class Operations {
 public:
  // Is told, at most once and from the main loop, whether an answer was written to a client that
  // was still there.
  using Sent = std::function<void(bool isSent)>;

  // To one call.
  struct Answer {
    std::function<void(Tag answer, Sent sent)> send;  // to be called once, at once or later
    std::function<bool()> isAwaited;                  // whether the client is still there
  };

  // Both throw Fault. What waits may be called back only from the main loop.
  using Function = std::function<Tag(const Request& request)>;
  using WaitingFunction = std::function<void(const Request& request, const Answer& answer)>;

  struct Operation {
    Access access = Access::user;
    WaitingFunction serve;
    std::string action;  // of the answer, for WS-Addressing; empty where it is not told
  };

  void add(const std::string& nameSpace, const std::string& name, Access access, Function function);
  void addWaiting(const std::string& nameSpace, const std::string& name, Access access,
                  WaitingFunction function);

  // Every answer of the operation says what it is.
  void setAction(const std::string& nameSpace, const std::string& name, std::string action);

  // What clients can fetch beside: a document of a type for what follows the root in a path;
  // nothing for what there is not.
  using Fetch = std::function<std::optional<std::string>(const std::string& name)>;
  struct Documents {
    std::string root;  // "/onvif/snapshot/"
    std::string type;
    Fetch fetch;
  };
  void setDocuments(Documents documents) { offered = std::move(documents); }
  const std::optional<Documents>& getDocuments() const { return offered; }

  // Puts something between the clients and what serves each operation that there is by now.
  using Layer = std::function<WaitingFunction(const XmlName& name, WaitingFunction serve)>;
  void cover(const Layer& layer);

  // Null for what there is not.
  const Operation* find(const XmlName& name) const;

 private:
  std::map<XmlName, Operation> operations;
  std::optional<Documents> offered;
};

// The text of an element that a request has to have. Throws Fault.
std::string requiredText(const Request& request, const std::string& nameSpace,
                         const std::string& name);
// Empty when there is none.
std::string optionalText(const Request& request, const std::string& nameSpace,
                         const std::string& name);

}  // namespace device::onvif

#endif
