#include "tools/ntld-dump/records.h"

#include "ipc/ntld_raw.h"

#include <algorithm>
#include <vector>

namespace {

constexpr size_t header = XP_NTLD_HEADER;
constexpr size_t code_length = 4;

const uint8_t *address_of(std::string_view bytes) {
  return reinterpret_cast<const uint8_t *>(bytes.data());
}

size_t padding_of(size_t length) {
  return (code_length - length % code_length) % code_length;
}

bool is_readable(const uint8_t *record) {
  return is_printable({reinterpret_cast<const char *>(record), 2 * code_length});
}

std::string count_of(size_t bytes) {
  return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
}

bool is_known_type(std::string_view type) {
  constexpr std::string_view known[] = {"long", "ctag", "text", "data", "quad",
                                        "xstr", "xnum", "bool", "xdat"};
  return std::ranges::find(known, type) != std::end(known);
}

// A run of records: a container's content, or the whole input.
struct run {
  size_t at;
  size_t end;  // where its container says; the input may end before
  std::string_view name;
};

class search {
public:
  search(std::string_view bytes, record_visitor &visitor) : bytes_(bytes), visitor_(visitor) {}

  record_fault from(size_t start) {
    start = std::min(start, bytes_.size());
    if (bytes_.size() - start < header) blame(start, "no record");
    runs_.push_back({start, bytes_.size(), {}});
    while (!runs_.empty()) {
      if (runs_.back().at < std::min(runs_.back().end, bytes_.size())) {
        step();
      } else {
        runs_.pop_back();
      }
    }
    return fault_;
  }

private:
  size_t depth() const { return runs_.size() - 1; }

  void blame(size_t offset, std::string reason) {
    if (fault_.reason.empty() || offset < fault_.offset) fault_ = {offset, std::move(reason)};
  }

  // Takes the rest of the innermost run for bytes without records.
  void give_up(size_t from) {
    run &here = runs_.back();
    const size_t end = std::min(here.end, bytes_.size());
    if (from < end) visitor_.loose(from, depth(), bytes_.substr(from, end - from));
    here.at = here.end;
  }

  // Reads the next record of the innermost run.
  void step() {
    const run here = runs_.back();
    const size_t left = here.end - here.at;
    const size_t there = bytes_.size() - here.at;
    if (left < header) {
      const std::string where =
          depth() == 0 ? " behind the last record" : " left in '" + shown(here.name) + "'";
      blame(here.at, count_of(left) + where);
    }
    if (std::min(left, there) < header) return give_up(here.at);

    const std::string_view head = bytes_.substr(here.at, header);
    const uint32_t length = xp_ntld_raw_length(address_of(head));
    const size_t data_at = here.at + header;
    found_record found = {.offset = here.at,
                          .depth = depth(),
                          .name = head.substr(0, code_length),
                          .type = head.substr(code_length, code_length),
                          .length = length,
                          .data = bytes_.substr(data_at, length),
                          .container = false};
    if (length > left - header) {
      const std::string excess = count_of(length - (left - header));
      if (depth() != 0) {
        blame(here.at + 2 * code_length,
              "'" + shown(found.name) + "' reaches " + excess + " beyond '" + shown(here.name) + "'");
        return give_up(here.at);
      }
      blame(bytes_.size(), excess + " of '" + shown(found.name) + "' missing");
    }
    found.container = holds_records(found, here.name);
    if (found.container && depth() == deepest_record) {
      blame(here.at, "nested deeper than " + std::to_string(deepest_record) + " levels");
      found.container = false;
    }
    visitor_.record(found);
    pass(found, left - header);
    if (found.container) runs_.push_back({data_at, data_at + length, found.name});
  }

  // Goes behind a record and its padding. `left`: the bytes of its run behind its header.
  void pass(const found_record &found, size_t left) {
    const size_t end = found.offset + header + found.length;
    const size_t padding = padding_of(found.length);
    runs_.back().at = end;
    if (found.length >= left) return;  // a last record's padding need not be there
    if (left - found.length < padding) {
      blame(end, "the padding of '" + shown(found.name) + "' is cut");
      return give_up(end);
    }
    const std::string_view zeros = bytes_.substr(std::min(end, bytes_.size()), padding);
    const size_t wrong = zeros.find_first_not_of('\0');
    if (wrong != std::string_view::npos)
      blame(end + wrong, "the padding of '" + shown(found.name) + "' is not zero");
    runs_.back().at = end + padding;
  }

  bool holds_records(const found_record &found, std::string_view parent) const {
    if (found.type != "data" || found.data.empty()) return false;
    const bool message = found.depth == 0 && found.name == "msgd";
    const bool parameters = found.depth == 1 && found.name == "ipcp" && parent == "msgd";
    if (message || parameters) return true;
    if (found.data.size() < header || !is_readable(address_of(found.data))) return false;
    return is_known_type(found.data.substr(code_length, code_length)) || is_well_formed(found);
  }

  bool is_well_formed(const found_record &found) const {
    const uint8_t *const record = address_of(bytes_) + found.offset;
    const size_t there = header + found.data.size();
    if (xp_ntld_raw_verify(record, static_cast<uint32_t>(there)) != there) return false;
    const uint8_t *child = xp_ntld_raw_data(record);
    while (child < record + there) {
      if (!is_readable(child)) return false;
      child = xp_ntld_raw_next(child);
    }
    return true;
  }

  static std::string shown(std::string_view code) {
    std::string text(code);
    std::ranges::replace_if(
        text,
        [](char c) {
          return !is_printable({&c, 1});
        },
        '?');
    return text;
  }

  std::string_view bytes_;
  record_visitor &visitor_;
  std::vector<run> runs_;
  record_fault fault_;
};

}  // namespace

bool is_printable(std::string_view bytes) {
  return std::ranges::all_of(bytes, [](char c) { return c >= ' ' && c <= '~'; });
}

record_fault find_records(std::string_view bytes, size_t start, record_visitor &visitor) {
  return search(bytes, visitor).from(start);
}
