// The network side of `kinolot serve`; see http_listener.h.
#include "http_listener.h"

#include <sys/resource.h>

#include <atomic>
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/optional.hpp>
#include <chrono>
#include <map>
#include <mutex>
#include <vector>

#include "api_request.h"
#include "worker_pool.h"

namespace kinolot_serve {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;

namespace {

// Writing one answer; a client that stops reading for this long is dropped.
constexpr auto kWriteDeadline = std::chrono::seconds(30);
// How long a connection being closed may still send what it was sending,
// so that the answer it was given is not lost to a reset.
constexpr auto kDrainTime = std::chrono::seconds(1);
constexpr auto kStopGrace = std::chrono::seconds(3);
// Descriptors kept back for the database connections and files of the
// routes.
constexpr long kReservedDescriptors = 64;
// How much later a request may be worked on for each request its connection
// has had answered already, and at most: kept-alive heavy users let a
// newcomer go ahead of the whole queue, and still wait no more than three
// seconds longer for it when the server is saturated.
constexpr auto kDelayPerAnswer = std::chrono::milliseconds(500);
constexpr int kMostDelays = 6;

class Connection;

// One request and its answer, kept at one address from the moment the path
// is matched, since the match points into the request.
struct Exchange {
  HttpRequest request;
  HttpResponse response;
  bool keepAlive = false;
  int version = 11;
};

}  // namespace

class HttpListener::State {
 public:
  State(ListenerOptions options, Handler handler, Logger logger)
      : options(std::move(options)),
        handler(std::move(handler)),
        logger(std::move(logger)),
        acceptor(io),
        acceptPause(io),
        stopTimer(io),
        workers(this->options.workers) {}

  void Accept();
  // Counts `connection` of `address` as open; false when its address or the
  // process has no room for another, in which case it is still counted
  // until it goes.
  bool Enter(const std::shared_ptr<Connection>& connection, const std::string& address);
  void Leave(Connection* connection, const std::string& address);
  void BeginStop();
  void AwaitConnections(Clock::time_point deadline);

  const ListenerOptions options;
  const Handler handler;
  const Logger logger;
  std::atomic<bool> stopping{false};
  bool bound = false;
  size_t maxConnections = 1024;

  std::mutex mutex;  // guards the two maps below
  std::map<std::string, int> perAddress;
  std::map<Connection*, std::weak_ptr<Connection>> open;

  asio::io_context io{1};
  tcp::acceptor acceptor;
  asio::steady_timer acceptPause, stopTimer;
  WorkerPool workers;
};

namespace {

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(HttpListener::State& state, tcp::socket socket, std::string address)
      : state_(state),
        stream_(std::move(socket)),
        buffer_(state.options.maxHeaderBytes + state.options.maxBodyBytes + 8192),
        address_(std::move(address)) {}
  ~Connection() {
    if (counted_) state_.Leave(this, address_);
  }

  void Start() {
    counted_ = true;
    if (!state_.Enter(shared_from_this(), address_))
      return Refuse(503, "too many connections from this address");
    ReadHeader();
  }
  // Closes the connection unless one of its requests is under way; that one
  // closes it after its answer.
  void Stop() {
    if (!busy_) Close();
  }

 private:
  void ReadHeader() {
    if (state_.stopping) return Close();
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(state_.options.maxHeaderBytes));
    parser_->body_limit(state_.options.maxBodyBytes);
    headersDone_ = {};
    stream_.expires_after(std::chrono::seconds(state_.options.headerSeconds));
    http::async_read_header(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](beast::error_code error, size_t) { self->OnHeader(error); });
  }

  void OnHeader(beast::error_code error) {
    headersDone_ = Clock::now();
    if (error) return Failed(error);
    if (beast::iequals(parser_->get()[http::field::expect], "100-continue") &&
        !parser_->is_done()) {
      static const char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
      stream_.expires_after(kWriteDeadline);
      asio::async_write(stream_, asio::buffer(kContinue, sizeof(kContinue) - 1),
                        [self = shared_from_this()](beast::error_code error, size_t) {
                          if (error) return self->Close();
                          self->ReadBody();
                        });
      return;
    }
    ReadBody();
  }

  void ReadBody() {
    if (parser_->is_done()) return Dispatch();
    stream_.expires_after(std::chrono::seconds(state_.options.bodySeconds));
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](beast::error_code error, size_t) {
                       if (error) return self->Failed(error);
                       self->Dispatch();
                     });
  }

  // A read that ended in `error`: bounds overstepped and malformed requests
  // are answered; timeouts, closed and reset connections just close.
  void Failed(beast::error_code error) {
    if (error == http::error::header_limit) return Refuse(431, "request headers too large");
    if (error == http::error::body_limit) return Refuse(413, "request body too large");
    if (error.category() == beast::http::make_error_code(http::error::bad_target).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message)
      return Refuse(400, "malformed request");
    Close();
  }

  // What the request line and headers read so far say.
  std::shared_ptr<Exchange> Begin() {
    auto exchange = std::make_shared<Exchange>();
    HttpRequest& request = exchange->request;
    request.remote_address = address_;
    if (!parser_) return exchange;
    auto& message = parser_->get();
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    exchange->version = message.version() == 10 ? 10 : 11;
    request.version = exchange->version == 10 ? "HTTP/1.0" : "HTTP/1.1";
    return exchange;
  }

  void Dispatch() {
    stream_.expires_never();  // the route may take its time; the client waits
    std::shared_ptr<Exchange> exchange = Begin();
    auto& message = parser_->get();
    HttpRequest& request = exchange->request;
    for (const auto& field : message)
      request.headers.emplace(std::string(field.name_string()), std::string(field.value()));
    request.body = std::move(message.body());
    exchange->keepAlive = message.keep_alive();
    if (!ParseTarget(request.target, request)) return Refuse(400, "malformed request target");
    busy_ = true;
    work_.emplace(state_.io.get_executor());
    const int delays = answered_ < kMostDelays ? answered_ : kMostDelays;
    ++answered_;
    state_.workers.Post(delays * kDelayPerAnswer, [self = shared_from_this(), exchange]() mutable {
      try {
        self->state_.handler(exchange->request, exchange->response);
      } catch (const std::exception&) {
        exchange->response = HttpResponse();
        SendError(exchange->response, 500, "internal error");
      }
      // The answer goes out on the I/O thread, which also gets the last
      // reference to the connection.
      asio::io_context& io = self->state_.io;
      asio::post(io, [self = std::move(self), exchange = std::move(exchange)] {
        self->Answer(*exchange);
      });
    });
  }

  void Refuse(int status, const char* reason) {
    std::shared_ptr<Exchange> exchange = Begin();
    SendError(exchange->response, status, reason);
    if (status == 503) exchange->response.SetHeader("Retry-After", "1");
    Answer(*exchange);
  }

  void Answer(Exchange& exchange) {
    busy_ = false;
    work_.reset();
    const HttpResponse& response = exchange.response;
    double ms = 0;
    if (headersDone_ != Clock::time_point())
      ms = std::chrono::duration<double, std::milli>(Clock::now() - headersDone_).count();
    if (state_.logger) state_.logger(exchange.request, response, ms);

    const bool keepAlive = exchange.keepAlive && !state_.stopping;
    auto message = std::make_shared<http::response<http::string_body>>();
    message->version(exchange.version);
    message->result(static_cast<unsigned>(response.status));
    for (const auto& header : response.headers) message->insert(header.first, header.second);
    message->body() = response.body;
    message->keep_alive(keepAlive);
    message->prepare_payload();
    stream_.expires_after(kWriteDeadline);
    http::async_write(
        stream_, *message,
        [self = shared_from_this(), message, keepAlive](beast::error_code error, size_t) {
          if (error) return self->Close();
          if (!keepAlive) return self->Drain();
          self->ReadHeader();
        });
  }

  // Says it is done sending and reads what the client still sends, for a
  // moment, before closing.
  void Drain() {
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
    stream_.expires_after(kDrainTime);
    DrainMore();
  }
  void DrainMore() {
    buffer_.consume(buffer_.size());
    stream_.async_read_some(buffer_.prepare(4096),
                            [self = shared_from_this()](beast::error_code error, size_t) {
                              if (error) return self->Close();
                              self->DrainMore();
                            });
  }

  void Close() {
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_both, ignored);
    stream_.close();
  }

  HttpListener::State& state_;
  beast::tcp_stream stream_;
  beast::flat_buffer buffer_;
  std::string address_;
  boost::optional<http::request_parser<http::string_body>> parser_;
  Clock::time_point headersDone_;
  bool busy_ = false;
  bool counted_ = false;
  int answered_ = 0;  // requests of this connection handed to the workers
  // Keeps the I/O thread's loop running while a worker holds a request.
  boost::optional<asio::executor_work_guard<asio::io_context::executor_type>> work_;
};

}  // namespace

void HttpListener::State::Accept() {
  acceptor.async_accept([this](beast::error_code error, tcp::socket socket) {
    if (stopping || !acceptor.is_open()) return;
    if (error) {
      // Out of descriptors, most likely: let open connections finish
      // rather than spin.
      acceptPause.expires_after(std::chrono::milliseconds(100));
      acceptPause.async_wait([this](beast::error_code error) {
        if (!error) Accept();
      });
      return;
    }
    beast::error_code ignored;
    const tcp::endpoint peer = socket.remote_endpoint(ignored);
    if (!ignored) {
      // Answers go out as one write, but a kept-alive client's next request
      // must not wait for a delayed acknowledgement either.
      socket.set_option(tcp::no_delay(true), ignored);
      std::make_shared<Connection>(*this, std::move(socket), peer.address().to_string())->Start();
    }
    Accept();
  });
}

bool HttpListener::State::Enter(const std::shared_ptr<Connection>& connection,
                                const std::string& address) {
  std::lock_guard<std::mutex> lock(mutex);
  open[connection.get()] = connection;
  return ++perAddress[address] <= options.maxPerAddress && open.size() <= maxConnections;
}

void HttpListener::State::Leave(Connection* connection, const std::string& address) {
  std::lock_guard<std::mutex> lock(mutex);
  open.erase(connection);
  auto count = perAddress.find(address);
  if (count != perAddress.end() && --count->second <= 0) perAddress.erase(count);
}

void HttpListener::State::BeginStop() {
  beast::error_code ignored;
  acceptor.close(ignored);
  acceptPause.cancel();
  std::vector<std::shared_ptr<Connection>> connections;
  {
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& entry : open)
      if (auto connection = entry.second.lock()) connections.push_back(connection);
  }
  for (const auto& connection : connections) connection->Stop();
  connections.clear();
  AwaitConnections(Clock::now() + kStopGrace);
}

void HttpListener::State::AwaitConnections(Clock::time_point deadline) {
  {
    std::lock_guard<std::mutex> lock(mutex);
    if (open.empty() || Clock::now() >= deadline) return io.stop();
  }
  stopTimer.expires_after(std::chrono::milliseconds(20));
  stopTimer.async_wait([this, deadline](beast::error_code) { AwaitConnections(deadline); });
}

HttpListener::HttpListener(ListenerOptions options, Handler handler, Logger logger)
    : state_(std::make_unique<State>(std::move(options), std::move(handler), std::move(logger))) {}

HttpListener::~HttpListener() {
  Stop();
  state_->workers.Join();
}

int HttpListener::Bind() {
  State& state = *state_;
  beast::error_code error;
  tcp::resolver resolver(state.io);
  auto found = resolver.resolve(state.options.host, std::to_string(state.options.port),
                                tcp::resolver::passive | tcp::resolver::numeric_service, error);
  if (error || found.empty()) return -1;
  const tcp::endpoint endpoint = found.begin()->endpoint();
  state.acceptor.open(endpoint.protocol(), error);
  if (!error) state.acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) state.acceptor.bind(endpoint, error);
  // As long a queue as the system allows: bursts of new connections wait
  // there instead of being dropped.
  if (!error) state.acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    beast::error_code ignored;
    state.acceptor.close(ignored);
    return -1;
  }
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur != RLIM_INFINITY)
    state.maxConnections = static_cast<size_t>(
        std::max<long>(16, static_cast<long>(files.rlim_cur) - kReservedDescriptors));
  state.bound = true;
  return state.acceptor.local_endpoint(error).port();
}

bool HttpListener::Run() {
  State& state = *state_;
  if (!state.bound) return false;
  state.Accept();
  state.io.run();
  // Requests still with a worker end within the database's statement
  // timeout; their answers have nowhere to go.
  state.workers.Join();
  return true;
}

void HttpListener::Stop() {
  if (state_->stopping.exchange(true)) return;
  State* state = state_.get();
  asio::post(state->io, [state] { state->BeginStop(); });
}

}  // namespace kinolot_serve
