#include "HttpLoop.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include "CurlLibrary.hpp"

namespace agent::spf::etcd {

namespace {

constexpr long httpOk = 200;

const CurlLibrary& curl() {
  return CurlLibrary::instance();
}

void check(CURLcode result) {
  if (result == CURLE_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  if (result != CURLE_OK) {
    throw std::runtime_error(std::string("libcurl: ") + curl().easy_strerror(result));
  }
}

void check(CURLMcode result) {
  if (result == CURLM_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  if (result != CURLM_OK) {
    throw std::runtime_error(std::string("libcurl: ") + curl().multi_strerror(result));
  }
}

void setSocketOption(int socket, int level, int name, int value) {
  static_cast<void>(setsockopt(socket, level, name, &value, sizeof(value)));
}

// Notices within some seconds that the other end of a stream has vanished, on which nothing is sent otherwise.
curl_socket_t openSocket(void* keepAliveSeconds, curlsocktype /*purpose*/, curl_sockaddr* address) {
  const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (opened >= 0 && address->socktype == SOCK_STREAM) {
    const int seconds = *static_cast<const int*>(keepAliveSeconds);
    setSocketOption(opened, SOL_SOCKET, SO_KEEPALIVE, 1);
    setSocketOption(opened, IPPROTO_TCP, TCP_KEEPIDLE, seconds);
    setSocketOption(opened, IPPROTO_TCP, TCP_KEEPINTVL, seconds);
    setSocketOption(opened, IPPROTO_TCP, TCP_KEEPCNT, 2);
    setSocketOption(opened, IPPROTO_TCP, TCP_NODELAY, 1);
  }
  return opened < 0 ? CURL_SOCKET_BAD : opened;
}

struct SlistDeleter {
  void operator()(curl_slist* list) const noexcept { curl().slist_free_all(list); }
};
using Headers = std::unique_ptr<curl_slist, SlistDeleter>;

void append(Headers& headers, const std::string& line) {
  auto* const longer = curl().slist_append(headers.get(), line.c_str());
  if (longer == nullptr) {
    throw std::bad_alloc();
  }
  static_cast<void>(headers.release());
  headers.reset(longer);
}

Headers headersOf(const std::string& authorization) {
  Headers headers;
  append(headers, "Content-Type: application/json");
  append(headers, "Expect:");  // a body of any size is sent at once
  if (!authorization.empty()) {
    append(headers, "Authorization: " + authorization);
  }
  return headers;
}

struct EasyDeleter {
  void operator()(CURL* easy) const noexcept { curl().easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

int keepAliveOf(std::chrono::seconds ttl) {
  constexpr std::chrono::seconds longest(60);
  return static_cast<int>(std::clamp(ttl / 3, std::chrono::seconds(1), longest).count());
}

}  // namespace

/// libcurl's handle of all transfers.
class HttpLoop::Multi {
 public:
  explicit Multi(std::chrono::seconds ttl) : handle_(make()), keepAlive_(keepAliveOf(ttl)) {}
  ~Multi() { curl().multi_cleanup(handle_); }
  Multi(const Multi&) = delete;
  Multi& operator=(const Multi&) = delete;

  CURLM* handle() const noexcept { return handle_; }
  int* keepAlive() noexcept { return &keepAlive_; }

 private:
  static CURLM* make() {
    auto* const made = curl().multi_init();
    if (made == nullptr) {
      throw std::bad_alloc();
    }
    return made;
  }

  CURLM* const handle_;
  int keepAlive_;
};

/// One request and what has arrived of its answer.
class HttpLoop::Transfer {
 public:
  Transfer(HttpLoop& loop, Id id, HttpRequest request)
      : loop_(loop),
        id_(id),
        request_(std::move(request)),
        headers_(headersOf(request_.authorization)),
        easy_(curl().easy_init()) {
    if (!easy_) {
      throw std::bad_alloc();
    }
    configure();
    check(curl().multi_add_handle(loop_.multi_->handle(), easy_.get()));
  }

  ~Transfer() { curl().multi_remove_handle(loop_.multi_->handle(), easy_.get()); }

  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  bool hasPieces() const { return isStream() && !received_.empty(); }

  std::string takePieces() { return std::exchange(received_, {}); }

  Id id() const noexcept { return id_; }

  HttpRequest& request() noexcept { return request_; }

  HttpAnswer answer(CURLcode result) {
    HttpAnswer answer;
    answer.status = status();
    if (result != CURLE_OK) {
      answer.failure = describe(result);
    }
    answer.body = std::move(received_);
    return answer;
  }

 private:
  void configure() {
    set(CURLOPT_PRIVATE, static_cast<void*>(this));
    set(CURLOPT_URL, request_.url.c_str());
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    set(CURLOPT_POSTFIELDS, request_.body.c_str());
    set(CURLOPT_HTTPHEADER, headers_.get());
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PROXY, "");  // members are named as they are reached, whatever the environment says
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // a cancelled request does not wait for the name server
    const auto timeout = static_cast<long>(request_.timeout.count());
    set(CURLOPT_CONNECTTIMEOUT_MS, timeout);
    if (!request_.onPiece) {
      set(CURLOPT_TIMEOUT_MS, timeout);
    }
    configureTls();
    configureCallbacks();
  }

  void configureTls() {
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    setText(CURLOPT_CAINFO, loop_.settings_.caFile);
    setText(CURLOPT_SSLCERT, loop_.settings_.certificateFile);
    setText(CURLOPT_SSLKEY, loop_.settings_.keyFile);
  }

  void configureCallbacks() {
    set(CURLOPT_ERRORBUFFER, error_.data());
    set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
    set(CURLOPT_OPENSOCKETDATA, loop_.multi_->keepAlive());
    set(CURLOPT_WRITEFUNCTION, &Transfer::receive);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(CURLOPT_DEBUGFUNCTION, &Transfer::count);
    set(CURLOPT_DEBUGDATA, static_cast<void*>(&loop_));
    set(CURLOPT_VERBOSE, 1L);
  }

  template <class Value>
  void set(CURLoption option, Value value) {
    check(curl().easy_setopt(easy_.get(), option, value));
  }

  void setText(CURLoption option, const std::string& value) {
    if (!value.empty()) {
      set(option, value.c_str());
    }
  }

  // Called by libcurl, through which no exception may pass and in which no handler may run.
  static std::size_t receive(char* bytes, std::size_t /*one*/, std::size_t size, void* self) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    if (size > longestAnswer - transfer.received_.size()) {
      transfer.failure_ = Failure::tooLong;
      return 0;
    }
    try {
      transfer.received_.append(bytes, size);
      return size;
    } catch (...) {
      transfer.failure_ = Failure::outOfMemory;
      return 0;
    }
  }

  static int count(CURL* /*easy*/, curl_infotype kind, char* /*bytes*/, std::size_t size, void* loop) noexcept {
    auto& counted = *static_cast<HttpLoop*>(loop);
    if (kind == CURLINFO_HEADER_OUT || kind == CURLINFO_DATA_OUT) {
      counted.sent_ += size;
    } else if (kind == CURLINFO_HEADER_IN || kind == CURLINFO_DATA_IN) {
      counted.received_ += size;
    }
    return 0;
  }

  bool isStream() const { return request_.onPiece && status() == httpOk; }

  long status() const {
    long status = 0;
    curl().easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    return status;
  }

  std::string describe(CURLcode result) const {
    if (failure_ == Failure::tooLong) {
      return "an answer of more than " + std::to_string(longestAnswer / (std::size_t{1024} * 1024)) + " MiB";
    }
    if (failure_ == Failure::outOfMemory || result == CURLE_OUT_OF_MEMORY) {
      return "out of memory";
    }
    if (result == CURLE_OPERATION_TIMEDOUT) {
      return "no answer within " + std::to_string(request_.timeout.count()) + " ms";
    }
    long number = 0;
    curl().easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &number);
    if (result == CURLE_COULDNT_CONNECT && number != 0) {
      return std::generic_category().message(static_cast<int>(number));
    }
    std::string text = error_.front() != '\0' ? error_.data() : curl().easy_strerror(result);
    if (isCertificateAlert(text)) {
      return "the member " + refusalOfClient() + " (" + text + ")";
    }
    if (isHangUpAfterHandshake(result)) {
      const auto reason = number != 0 ? std::generic_category().message(static_cast<int>(number)) : text;
      return "the member hung up after the TLS handshake, as one does that " + refusalOfClient() + " (" + reason + ")";
    }
    return text;
  }

  // The words of an alert do not say whose certificate it is about.
  static bool isCertificateAlert(const std::string& text) {
    const auto mentions = [&](const char* words) { return text.find(words) != std::string::npos; };
    return mentions(" alert ") && (mentions("certificate") || mentions("unknown ca"));
  }

  // By TLS 1.3, members judge a client's certificate when the client believes the handshake to be over and sends its
  // request; so their alert may be lost with the connection.
  bool isHangUpAfterHandshake(CURLcode result) const {
    curl_off_t handshake = 0;
    curl().easy_getinfo(easy_.get(), CURLINFO_APPCONNECT_TIME_T, &handshake);
    long newConnections = 0;
    curl().easy_getinfo(easy_.get(), CURLINFO_NUM_CONNECTS, &newConnections);
    return (result == CURLE_SEND_ERROR || result == CURLE_RECV_ERROR || result == CURLE_GOT_NOTHING) && handshake > 0 &&
           newConnections > 0 && status() == 0;
  }

  std::string refusalOfClient() const {
    const auto& file = loop_.settings_.certificateFile;
    return file.empty() ? "demands a certificate of its clients" : "refuses the certificate '" + file + "'";
  }

  enum class Failure { none, tooLong, outOfMemory };

  HttpLoop& loop_;
  const Id id_;
  HttpRequest request_;
  const Headers headers_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  std::string received_;
  Failure failure_ = Failure::none;
  const Easy easy_;
};

HttpLoop::HttpLoop(const Settings& settings) : settings_(settings), multi_(std::make_unique<Multi>(settings.ttl)) {}

HttpLoop::~HttpLoop() = default;

HttpLoop::Id HttpLoop::start(HttpRequest request) {
  const auto id = ++last_;
  transfers_.emplace(id, std::make_unique<Transfer>(*this, id, std::move(request)));
  ++requests_;
  return id;
}

void HttpLoop::cancel(Id id) noexcept {
  transfers_.erase(id);
}

void HttpLoop::turn(TimePoint until) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
  const auto wait = std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX);
  check(curl().multi_poll(multi_->handle(), nullptr, 0, static_cast<int>(wait), nullptr));
  int running = 0;
  check(curl().multi_perform(multi_->handle(), &running));
  dispatchPieces();
  dispatchDone();
}

void HttpLoop::wakeUp() noexcept {
  curl().multi_wakeup(multi_->handle());
}

Traffic HttpLoop::traffic() const noexcept {
  return {requests_, sent_, received_};
}

// A handler may cancel any request, so each one is looked up.
void HttpLoop::dispatchPieces() {
  std::vector<Id> ids;
  for (const auto& [id, transfer] : transfers_) {
    if (transfer->hasPieces()) {
      ids.push_back(id);
    }
  }
  for (const auto id : ids) {
    const auto found = transfers_.find(id);
    if (found == transfers_.end()) {
      continue;
    }
    const auto pieces = found->second->takePieces();
    const auto handler = found->second->request().onPiece;  // the transfer may end in it
    handler(pieces);
  }
}

void HttpLoop::dispatchDone() {
  int left = 0;
  while (const auto* const message = curl().multi_info_read(multi_->handle(), &left)) {
    void* transfer = nullptr;
    curl().easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    const auto result = message->data.result;
    auto node = transfers_.extract(static_cast<const Transfer*>(transfer)->id());
    auto answer = node.mapped()->answer(result);
    const auto handler = std::move(node.mapped()->request().onDone);
    node = {};
    handler(std::move(answer));
  }
}

}  // namespace agent::spf::etcd
