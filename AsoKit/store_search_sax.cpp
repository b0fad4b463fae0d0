#include "AsoKit/store_search_sax.h"

#include <nlohmann/json.hpp>

#include "AsoKit/json_values.h"

namespace asokit::store_search_detail {
namespace {

using nlohmann::json;

enum class Role {
  root,
  pageData,
  bubbleList,
  bubble,
  results,
  resultElement,
  platformData,
  section,
  sectionResults,
  entry,
  ignored,
};

struct Frame {
  explicit Frame(Role r, BubbleList* l = nullptr, Bubble* b = nullptr) : role(r), list(l), bubble(b) {}
  Role role;
  std::string key;  // the key whose value comes next, in an object
  BubbleList* list;
  Bubble* bubble;
  std::optional<std::string> id;  // of a result element
  std::string entryKey;           // of a name entry
};

class Handler final : public nlohmann::json_sax<json> {
 public:
  explicit Handler(Scan& out) : out_(out) {}

  bool null() override { return scalar(json()); }
  bool boolean(bool value) override { return scalar(json(value)); }
  bool number_integer(number_integer_t value) override { return scalar(json(value)); }
  bool number_unsigned(number_unsigned_t value) override { return scalar(json(value)); }
  bool number_float(number_float_t value, const string_t&) override { return scalar(json(value)); }
  bool string(string_t& value) override;
  bool binary(binary_t&) override { return scalar(json()); }
  bool start_object(std::size_t) override { return open(true); }
  bool end_object() override;
  bool start_array(std::size_t) override { return open(false); }
  bool end_array() override {
    stack_.pop_back();
    return true;
  }
  bool key(string_t& value) override {
    stack_.back().key = value;
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

 private:
  bool open(bool isObject);
  bool scalar(const json& value);
  static void idFrom(const json& value, std::optional<std::string>& id) { id = json_values::idText(value); }

  Scan& out_;
  std::vector<Frame> stack_;
};

bool Handler::string(string_t& value) {
  if (!stack_.empty()) {
    auto& frame = stack_.back();
    if (frame.role == Role::bubble && frame.key == "name") {
      frame.bubble->isSoftware = value == "software";
      return true;
    }
    if (frame.role == Role::results) {
      frame.bubble->ids.push_back(value);
      return true;
    }
    if (frame.role == Role::entry && frame.key == "name") {
      out_.names.insert_or_assign(frame.entryKey, value);
      return true;
    }
    if (frame.role == Role::resultElement && frame.key == "id") {
      frame.id = value;
      return true;
    }
  }
  return scalar(json());
}

bool Handler::scalar(const json& value) {
  if (stack_.empty()) {
    return true;  // a scalar root: rootIsObject stays false
  }
  auto& frame = stack_.back();
  switch (frame.role) {
    case Role::root:
      if (frame.key == "bubbles") {
        out_.topLevel = {true, false, {}};
      }
      break;
    case Role::pageData:
      if (frame.key == "bubbles") {
        out_.pageDataHasBubbles = true;
        out_.pageData = {true, false, {}};
      }
      break;
    case Role::bubbleList:
      frame.list->listOfObjects = false;
      break;
    case Role::bubble:
      if (frame.key == "results") {
        frame.bubble->results = Bubble::Results::notList;
        frame.bubble->ids.clear();
      } else if (frame.key == "name") {
        frame.bubble->isSoftware = false;
      }
      break;
    case Role::results:
      if (auto id = json_values::idText(value)) {
        frame.bubble->ids.push_back(std::move(*id));
      }
      break;
    case Role::resultElement:
      if (frame.key == "id") {
        idFrom(value, frame.id);
      }
      break;
    default:
      break;
  }
  return true;
}

bool Handler::open(bool isObject) {
  if (stack_.empty()) {
    out_.rootIsObject = isObject;
    stack_.emplace_back(isObject ? Role::root : Role::ignored);
    return true;
  }
  auto& parent = stack_.back();
  Frame child(Role::ignored);
  switch (parent.role) {
    case Role::root:
      if (parent.key == "bubbles") {
        out_.topLevel = {true, isObject ? false : true, {}};
        child = Frame(isObject ? Role::ignored : Role::bubbleList, &out_.topLevel);
      } else if (parent.key == "pageData" && isObject) {
        child.role = Role::pageData;
      } else if (parent.key == "storePlatformData" && isObject) {
        child.role = Role::platformData;
      }
      break;
    case Role::pageData:
      if (parent.key == "bubbles") {
        out_.pageDataHasBubbles = true;
        out_.pageData = {true, isObject ? false : true, {}};
        child = Frame(isObject ? Role::ignored : Role::bubbleList, &out_.pageData);
      }
      break;
    case Role::bubbleList:
      if (isObject) {
        parent.list->bubbles.emplace_back();
        child = Frame(Role::bubble, parent.list, &parent.list->bubbles.back());
      } else {
        parent.list->listOfObjects = false;
      }
      break;
    case Role::bubble:
      if (parent.key == "results") {
        parent.bubble->ids.clear();
        parent.bubble->results = isObject ? Bubble::Results::notList : Bubble::Results::list;
        if (!isObject) {
          child = Frame(Role::results, nullptr, parent.bubble);
        }
      } else if (parent.key == "name") {
        parent.bubble->isSoftware = false;
      }
      break;
    case Role::results:
      if (isObject) {
        child = Frame(Role::resultElement, nullptr, parent.bubble);
      }
      break;
    case Role::platformData:
      if (isObject) {
        child.role = Role::section;
      }
      break;
    case Role::section:
      if (parent.key == "results" && isObject) {
        child.role = Role::sectionResults;
      }
      break;
    case Role::sectionResults:
      if (isObject) {
        child.role = Role::entry;
        child.entryKey = parent.key;
      }
      break;
    case Role::resultElement:
      if (parent.key == "id") {
        parent.id.reset();
      }
      break;
    default:
      break;
  }
  stack_.push_back(std::move(child));
  return true;
}

bool Handler::end_object() {
  auto frame = std::move(stack_.back());
  stack_.pop_back();
  if (frame.role == Role::resultElement && frame.id) {
    frame.bubble->ids.push_back(std::move(*frame.id));
  }
  return true;
}

}  // namespace

bool scan(std::string_view body, Scan& out) {
  Handler handler(out);
  return json::sax_parse(body.begin(), body.end(), &handler, json::input_format_t::json, true);
}

}  // namespace asokit::store_search_detail
