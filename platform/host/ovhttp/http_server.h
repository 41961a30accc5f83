// Answers the requests that the web server hands to this application, one at a time on a thread of
// its own.
#ifndef OVHTTP_HTTP_SERVER_H
#define OVHTTP_HTTP_SERVER_H

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "ovhttp.h"
#include "ovhttp/wire.h"

class HttpServer {
 public:
  // Listens at a path, whose folder is made when it is missing. Null on failure. The web server is
  // at hand and sends and reads at once; transfer_timeout is for one that stops in the middle.
  static std::unique_ptr<HttpServer> create(
      const std::string& path, OVHttpCallback callback, void* userData,
      std::chrono::milliseconds transferTimeout = std::chrono::seconds(5));

  // Waits for a request that is being answered, and removes the socket.
  ~HttpServer();

  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

 private:
  HttpServer(std::string path, FileDescriptor listener, FileDescriptor stop,
             OVHttpCallback callback, void* userData, std::chrono::milliseconds transferTimeout);

  void run();
  void serve(const FileDescriptor& client) const;
  std::optional<HttpRequest> receiveRequest(int client) const;
  std::string answer(const HttpRequest& request) const;

  const std::string path;
  const FileDescriptor listener;
  const FileDescriptor stop;  // readable once the server is to end
  const OVHttpCallback callback;
  void* const userData;
  const std::chrono::milliseconds transferTimeout;
  std::thread thread;
};

#endif
