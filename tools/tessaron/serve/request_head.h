#pragma once
// The heads of requests, from the HTTP library's form. Includes that library.

#include <boost/beast/http/message.hpp>
#include <string>

#include "serve/message.h"

namespace tessaron::tool {

namespace http = boost::beast::http;

/// Takes what decides about a request from the library's form of its head.
template <typename Fields>
RequestHead headOf(const http::request_header<Fields>& header) {
  using http::field;
  const auto text = [&](auto name) {
    const auto found = header.find(name);
    return found == header.end() ? std::string() : std::string(found->value());
  };
  RequestHead head;
  head.method = std::string(header.method_string());
  head.target = std::string(header.target());
  head.host = text(field::host);
  head.isHostUnique = header.count(field::host) == 1;
  head.origin = text(field::origin);
  head.fetchSite = text("Sec-Fetch-Site");
  head.fetchMode = text("Sec-Fetch-Mode");
  head.cookie = text(field::cookie);
  head.authorization = text(field::authorization);
  head.contentType = text(field::content_type);
  head.ifMatch = text(field::if_match);
  head.ifNoneMatch = text(field::if_none_match);
  return head;
}

}  // namespace tessaron::tool
