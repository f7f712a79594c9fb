// Fuzzes what FileDownload makes of a server's response: the input, after
// one flag byte, is sent as it stands (status line, headers, body) by a
// server thread on 127.0.0.1 in answer to one request, and the download's
// results (length, content type, file name, image test) are read back. The
// same input is also taken as a URL whose file name is parsed.
//
// A response must not lead the client anywhere else: inputs that mention a
// redirect target are skipped, and scripts/fuzz.sh runs this target in a
// network namespace of its own that has nothing but loopback.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "fuzz_database.h"
#include "kinolot/file_download.h"

using namespace LibKinolot;
using kinolot_fuzz::Check;

namespace {

// A listening socket on an ephemeral port of 127.0.0.1.
int Listen(int* port) {
  int listener = socket(AF_INET, SOCK_STREAM, 0);
  Check(listener >= 0, "no socket");
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  Check(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
            listen(listener, 8) == 0,
        "cannot listen on 127.0.0.1");
  socklen_t length = sizeof(address);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  *port = ntohs(address.sin_port);
  return listener;
}

// Answers one connection with `response`: reads the request up to its blank
// line, writes the response, closes.
void Serve(int listener, const std::string& response) {
  // A client that never connects must not hold the run up.
  pollfd ready = {listener, POLLIN, 0};
  if (poll(&ready, 1, 5000) != 1) return;
  int client = accept(listener, nullptr, nullptr);
  if (client < 0) return;
  std::string request;
  char buffer[1024];
  while (request.find("\r\n\r\n") == std::string::npos) {
    ssize_t got = read(client, buffer, sizeof(buffer));
    if (got <= 0) break;
    request.append(buffer, static_cast<size_t>(got));
  }
  for (size_t sent = 0; sent < response.size();) {
    ssize_t n = send(client, response.data() + sent, response.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) break;
    sent += static_cast<size_t>(n);
  }
  shutdown(client, SHUT_RDWR);
  close(client);
}

bool Mentions(const std::string& text, const char* word) {
  for (size_t i = 0; i + strlen(word) <= text.size(); ++i) {
    if (strncasecmp(text.c_str() + i, word, strlen(word)) == 0) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  std::string response(reinterpret_cast<const char*>(data) + 1, size - 1);

  FileDownload parser;
  parser.ParseUrl(std::string(response.c_str()).c_str());
  Check(strlen(parser.GetFilename()) < 256, "file name longer than its member");

  // A redirect could send the client to another host.
  if (Mentions(response, "location")) return 0;
  static int port = 0;
  static int listener = Listen(&port);
  static const std::string url = [] {
    char text[64];
    snprintf(text, sizeof(text), "http://127.0.0.1:%d/posters/Cover.JPG?size=big", port);
    return std::string(text);
  }();
  static const char* path = [] {
    static char name[] = "/tmp/kinolot-fuzz-download-XXXXXX";
    int fd = mkstemp(name);
    Check(fd >= 0, "no temporary file");
    close(fd);
    return name;
  }();

  std::thread server(Serve, listener, response);
  FileDownload download(url.c_str());
  bool header = data[0] & 1;
  int result = header ? download.DownloadHeader(path) : download.DownloadBody(path);
  server.join();
  Check(strlen(download.GetContentType()) < 255, "content type longer than its member");
  if (result == 0) {
    Check(strcmp(download.GetFilename(), "cover.jpg") == 0, "file name not the URL's");
    bool image = download.IsImageType();
    const char* type = download.GetContentType();
    Check(image == (type[0] != '\0'
                        ? strcmp(type, "image/jpeg") == 0 || strcmp(type, "image/png") == 0
                        : true),
          "image test disagrees with the content type");
  } else {
    Check(download.GetFilename()[0] == '\0' && download.GetContentLength() == 0,
          "a failed download changed what the object reports");
  }
  return 0;
}
