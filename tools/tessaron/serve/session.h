#pragma once
// One connection, over plain TCP or TLS.

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "serve/hub.h"
#include "serve/request_head.h"

namespace tessaron::tool {

/// Reads requests one after another and writes their answers. Keeps itself alive while it waits for
/// the client or for an answer.
template <typename Stream>
class Session : public Connection, public std::enable_shared_from_this<Session<Stream>> {
 public:
  Session(Stream stream, Hub& hub) : stream_(std::move(stream)), hub_(hub) { hub_.add(*this); }
  ~Session() override {
    hub_.remove(*this);
    forgetAnswer();
  }

  Stream& stream() { return stream_; }

  void readHead() {
    head_.emplace();
    head_->header_limit(kMaxHead);
    head_->body_limit(std::numeric_limits<std::uint64_t>::max());  // the site decides
    lowest().expires_after(kHeadTime);
    idleSince_ = std::chrono::steady_clock::now();
    http::async_read_header(stream_, buffer_, *head_,
                            [self = this->shared_from_this()](Error error, std::size_t) {
                              self->idleSince_.reset();
                              self->takeHead(error);
                            });
  }

  std::optional<std::chrono::steady_clock::time_point> idleSince() const override {
    return buffer_.size() == 0 ? idleSince_ : std::nullopt;
  }
  void close() override {
    if (delay_) delay_->cancel();
    lowest().close();
  }

  void sendEvent(const std::string& text) override {
    // A client that does not read misses no change: the last one tells the version.
    if (isWriting_) {
      nextEvent_ = text;
      return;
    }
    isWriting_ = true;
    event_ = text;
    lowest().expires_after(kWriteTime);
    boost::asio::async_write(stream_, boost::asio::buffer(event_),
                             [self = this->shared_from_this()](Error error, std::size_t) {
                               self->isWriting_ = false;
                               if (error) return self->close();
                               if (!self->nextEvent_.empty())
                                 self->sendEvent(std::exchange(self->nextEvent_, {}));
                             });
  }

 private:
  using Error = boost::system::error_code;
  using Body = http::span_body<const char>;
  static constexpr std::size_t kMaxHead = std::size_t{16} << 10;
  static constexpr std::chrono::seconds kHeadTime{10}, kBodyTime{30}, kImportTime{120},
      kWriteTime{60}, kDrainTime{2};

  auto& lowest() { return boost::beast::get_lowest_layer(stream_); }

  void takeHead(Error error) {
    if (error) return refuseHead(error);
    auto request = std::make_shared<Request>();
    request->head = headOf(head_->get());
    request->head.hasBody = !head_->is_done();
    if (const auto length = head_->content_length()) request->head.contentLength = *length;
    isHead_ = head_->get().method() == http::verb::head;
    keepsAlive_ = head_->keep_alive();
    Admission admission = hub_.site.admit(request->head);
    if (admission.refusal) {
      keepsAlive_ = keepsAlive_ && !request->head.hasBody;
      return refuse(*std::move(admission.refusal));
    }
    request->target = std::move(admission.target);
    if (!request->head.hasBody) return answer(admission.work, std::move(request));
    readBody(admission, std::move(request));
  }

  /// Answers a request that is none; tells nothing to a client that is gone or too slow.
  void refuseHead(Error error) {
    keepsAlive_ = false;
    if (error == http::error::end_of_stream) return endSending();
    if (error == http::error::header_limit)
      return write(errorResponse(431, "the head is too long"));
    if (error == http::error::body_limit) return write(errorResponse(413, "the body is too long"));
    if (error == http::error::partial_message) return;
    if (error.category() == http::make_error_code(http::error::bad_method).category())
      write(errorResponse(400, "this is no HTTP request"));
  }

  void refuse(Response response) {
    if (!response.isDelayed) return write(std::move(response));
    delay_.emplace(hub_.io, std::chrono::seconds(1));
    delay_->async_wait([self = this->shared_from_this(), response = std::move(response)](Error) {
      self->write(response);
    });
  }

  void readBody(const Admission& admission, std::shared_ptr<Request> request) {
    const bool isImport = admission.maxBody > Site::kMaxBody;
    const bool isAwaited = head_->get()[http::field::expect] == "100-continue";
    parser_.emplace(std::move(*head_));
    parser_->body_limit(admission.maxBody);
    lowest().expires_after(isImport ? kImportTime : kBodyTime);
    const auto read = [self = this->shared_from_this(), work = admission.work, request] {
      http::async_read(self->stream_, self->buffer_, *self->parser_,
                       [self, work, request](Error error, std::size_t) {
                         if (error) return self->refuseHead(error);
                         request->body = std::move(self->parser_->get().body());
                         self->parser_.reset();
                         self->answer(work, request);
                       });
    };
    if (!isAwaited) return read();
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    boost::asio::async_write(stream_, boost::asio::buffer(kContinue),
                             [read](Error error, std::size_t) {
                               if (!error) read();
                             });
  }

  void answer(Work work, std::shared_ptr<const Request> request) {
    hub_.work(work, std::move(request), [self = this->shared_from_this()](Response response) {
      self->write(std::move(response));
    });
  }

  void write(Response response) {
    if (response.isEventStream && !isHead_) return beginEvents(response);
    body_ = std::move(response.body);
    answer_.emplace();
    answer_->version(11);
    answer_->result(static_cast<unsigned>(response.status));
    for (const auto& [name, value] : commonHeaders()) answer_->set(name, value);
    for (const auto& [name, value] : response.headers) answer_->set(name, value);
    if (answer_->find(http::field::cache_control) == answer_->end())
      answer_->set(http::field::cache_control, "no-store");
    if (!response.contentType.empty())
      answer_->set(http::field::content_type, response.contentType);
    if (response.status != 304) answer_->content_length(body_ ? body_->size() : 0);
    answer_->keep_alive(keepsAlive_);
    if (body_ && !isHead_) answer_->body() = Body::value_type(body_->data(), body_->size());
    unsent_ = body_ ? body_->size() : 0;
    hub_.addUnsent(unsent_);
    lowest().expires_after(kWriteTime);
    http::async_write(stream_, *answer_,
                      [self = this->shared_from_this()](Error error, std::size_t) {
                        self->forgetAnswer();
                        if (error) return;
                        self->keepsAlive_ ? self->readHead() : self->endSending();
                      });
  }

  void forgetAnswer() {
    if (!answer_) return;
    answer_.reset();
    body_.reset();
    hub_.removeUnsent(std::exchange(unsent_, 0));
  }

  void beginEvents(const Response& response) {
    std::string text = "HTTP/1.1 200 OK\r\nContent-Type: " + response.contentType +
                       "\r\nCache-Control: no-store\r\nConnection: close\r\n";
    for (const auto& [name, value] : commonHeaders())
      text.append(name).append(": ").append(value).append("\r\n");
    nextEvent_.clear();
    isWriting_ = true;  // until the head is written
    if (!hub_.addStream(*this)) {
      isWriting_ = false;
      keepsAlive_ = false;
      return write(errorResponse(503, "there are too many streams of events"));
    }
    isWriting_ = false;
    sendEvent(text + "\r\n" + std::exchange(nextEvent_, {}));
    waitForEnd();
  }

  /// Notices when the client of a stream of events is gone.
  void waitForEnd() {
    lowest().expires_never();
    buffer_.clear();
    stream_.async_read_some(buffer_.prepare(kMaxHead),
                            [self = this->shared_from_this()](Error error, std::size_t) {
                              if (error) return self->hub_.remove(*self);
                              self->waitForEnd();
                            });
  }

  /// Ends the connection so that the client gets what was written to the end.
  void endSending() {
    if constexpr (std::is_same_v<Stream, boost::beast::tcp_stream>) {
      Error ignored;
      stream_.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
      lowest().expires_after(kDrainTime);
      drain();
    } else {
      lowest().expires_after(kDrainTime);
      stream_.async_shutdown([self = this->shared_from_this()](Error) {});
    }
  }

  void drain() {
    buffer_.clear();
    stream_.async_read_some(buffer_.prepare(kMaxHead),
                            [self = this->shared_from_this()](Error error, std::size_t) {
                              if (!error) self->drain();
                            });
  }

  Stream stream_;
  Hub& hub_;
  boost::beast::flat_buffer buffer_{4 * kMaxHead};
  std::optional<http::request_parser<http::empty_body>> head_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::optional<http::response<Body>> answer_;
  std::shared_ptr<const std::string> body_;
  std::optional<std::chrono::steady_clock::time_point> idleSince_;
  std::optional<boost::asio::steady_timer> delay_;
  std::size_t unsent_ = 0;
  bool isHead_ = false;
  bool keepsAlive_ = true;
  bool isWriting_ = false;
  std::string event_;
  std::string nextEvent_;
};

}  // namespace tessaron::tool
