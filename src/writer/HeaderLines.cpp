// List lines of the text headers, handed out in pieces of a little over 896 characters.
#include "writer/HeaderLines.h"

#include <algorithm>

namespace travune {

HeaderLines::Sink HeaderLines::ToFile(platform::File* file) {
  return [file](std::string_view piece) { return file != nullptr && file->Write(piece.data(), piece.size()); };
}

bool HeaderLines::WriteList(std::string_view head, const std::vector<std::string>& items, size_t separatorLength) {
  line_.assign(head);
  for (size_t i = 0; i < items.size(); ++i) {
    line_ += items[i];
    const bool last = i + 1 == items.size();
    if (!last && line_.size() > kFlushAbove) {
      if (!sink_(line_)) return false;
      line_.clear();
    }
  }
  if (!items.empty()) line_.resize(line_.size() - std::min(separatorLength, items.back().size()));
  line_ += "\r\n";
  return sink_(line_);
}

size_t HeaderLines::ListLength(const std::vector<std::string>& items, size_t separatorLength) {
  if (items.empty()) return 0;
  size_t length = 0;
  for (const std::string& item : items) length += item.size();
  return length - std::min(separatorLength, items.back().size());
}

}  // namespace travune
