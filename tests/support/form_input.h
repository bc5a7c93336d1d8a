// A CGI request held in memory, for building a cgicc form in the test's own
// process: the variables cgicc asks for and the body it reads.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <cgicc/CgiInput.h>
#include <cgicc/Cgicc.h>

namespace kestrel::test {

class FormInput : public cgicc::CgiInput {
 public:
  explicit FormInput(std::map<std::string, std::string> variables,
                     std::string body = "")
      : variables_(std::move(variables)), body_(std::move(body)) {}

  std::size_t read(char* data, std::size_t length) override {
    std::size_t n = body_.copy(data, length, offset_);
    offset_ += n;
    return n;
  }
  std::string getenv(const char* name) override {
    auto found = variables_.find(name);
    return found == variables_.end() ? std::string() : found->second;
  }

 private:
  std::map<std::string, std::string> variables_;
  std::string body_;
  std::size_t offset_ = 0;
};

// The variables of a GET request with the query string, from localhost
// port 80.
inline std::map<std::string, std::string> getVariables(
    const std::string& query) {
  return {{"REQUEST_METHOD", "GET"},
          {"QUERY_STRING", query},
          {"SERVER_NAME", "localhost"},
          {"SERVER_PORT", "80"}};
}

// A parsed GET request with the query string (the form keeps no reference
// to its input once parsed).
inline std::unique_ptr<cgicc::Cgicc> parsedGet(const std::string& query) {
  FormInput input(getVariables(query));
  return std::make_unique<cgicc::Cgicc>(&input);
}

}  // namespace kestrel::test
