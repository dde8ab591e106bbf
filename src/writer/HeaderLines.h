// Header text that goes to a file in pieces: fixed blocks as they are, and list lines whose
// items are collected and handed out whenever the line holds more than 896 characters.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

namespace travune {

class HeaderLines {
 public:
  // Receives each piece of header text; false stops the header.
  using Sink = std::function<bool(std::string_view piece)>;

  // A list line is handed out early once it holds more than this many characters.
  static constexpr size_t kFlushAbove = 896;

  explicit HeaderLines(Sink sink) : sink_(std::move(sink)) {}
  // A sink that writes every piece at the file's current position.
  static Sink ToFile(platform::File* file);

  // Hands text out as one piece.
  bool Write(std::string_view text) { return sink_(text); }

  // One text line: head, then the items in order. After an item that is not the last, the line
  // so far is handed out when it holds more than kFlushAbove characters (the text line goes on
  // in the next piece). The last item's final separatorLength characters become CR LF.
  bool WriteList(std::string_view head, const std::vector<std::string>& items, size_t separatorLength);

  // The characters of the items as one list: every item with its separator, less the last
  // item's separator (0 without items).
  static size_t ListLength(const std::vector<std::string>& items, size_t separatorLength);

 private:
  Sink sink_;
  std::string line_;
};

}  // namespace travune
