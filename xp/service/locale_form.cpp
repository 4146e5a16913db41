// Forms of times: patterns of the C library as patterns of ours, and what can be learnt from them.

#include "xp/service/locale_reader.h"

namespace {

struct written_out {
  char code;
  std::string_view pattern;
};

// Codes that stand for patterns, and those that we spell otherwise.
constexpr written_out replacements[] = {
    {'D', "#m/#d/#y"}, {'F', "#Y-#m-#d"}, {'R', "#H:#M"}, {'T', "#H:#M:#S"},
    {'P', "#p"},       {'Z', "#z"},       {'%', "%"},
};

constexpr std::string_view same_codes = "aAbBhCdegGHIjklmMnpsStuUVwWyYz";

struct writer {
  char *to;
  size_t room;
  size_t used = 0;
  bool failed = false;

  void add(std::string_view text) {
    if (text.size() > room - used) {
      failed = true;
    } else {
      used += text.copy(to + used, text.size());
    }
  }
};

// Takes what may stand between "%" and its code: flags, a width and a modifier. None of ours has them.
char take_code(std::string_view form, size_t &at) {
  while (at < form.size() && std::string_view("_-0^#+123456789EO").find(form[at]) != std::string_view::npos)
    ++at;
  return at < form.size() ? form[at++] : '\0';
}

void translate_code(char code, std::string_view half_day_form, writer &out) {
  for (const written_out &row : replacements) {
    if (row.code != code) continue;
    out.add(row.pattern);
    return;
  }
  if (code == 'r' && !half_day_form.empty()) {
    out.add(half_day_form);
    return;
  }
  if (code == '\0' || same_codes.find(code) == std::string_view::npos) {
    out.failed = true;
    return;
  }
  const char text[] = {'#', code};
  out.add({text, 2});
}

// One step through one of our patterns: a code, or the text up to the next one. The "##" of a plain "#"
// counts as a code, which is none of those that anybody looks for.
std::string_view take_piece(std::string_view form, size_t &at) {
  const size_t start = at;
  if (form[at] == '#') {
    at = at + 2 < form.size() ? at + 2 : form.size();
  } else {
    at = form.find('#', at);
    if (at == std::string_view::npos) at = form.size();
  }
  return form.substr(start, at - start);
}

bool is_code(std::string_view piece, std::string_view codes) {
  return piece.size() == 2 && piece[0] == '#' && codes.find(piece[1]) != std::string_view::npos;
}

}  // namespace

size_t xpi_translate_form(std::string_view form, std::string_view half_day_form, char *to, size_t room) {
  writer out{to, room};
  for (size_t at = 0; at < form.size();) {
    if (form[at] == '%') {
      ++at;
      translate_code(take_code(form, at), half_day_form, out);
    } else {
      out.add(form[at] == '#' ? "##" : form.substr(at, 1));
      ++at;
    }
  }
  return out.failed ? 0 : out.used;
}

std::string_view xpi_separator(std::string_view form, std::string_view codes) {
  std::string_view found;
  std::string_view between;
  bool any = false;
  bool behind_code = false;
  for (size_t at = 0; at < form.size();) {
    const std::string_view piece = take_piece(form, at);
    if (piece[0] != '#') {
      between = piece;
      continue;
    }
    const bool wanted = is_code(piece, codes);
    if (wanted && behind_code) {
      if (any && found != between) return {};
      found = between;
      any = true;
    }
    behind_code = wanted;
    between = {};
  }
  return found;
}

size_t xpi_drop_seconds(std::string_view form, char *to, size_t room) {
  // What stands before the seconds goes with them; what stands behind them where each field has a word of its
  // own (12h 30m 15s).
  const std::string_view separator = xpi_separator(form, xpi_time_codes);
  writer out{to, room};
  for (size_t at = 0; at < form.size();) {
    const std::string_view piece = take_piece(form, at);
    if (!is_code(piece, "S")) {
      out.add(piece);
    } else if (separator.empty()) {
      if (at < form.size() && form[at] != '#') take_piece(form, at);
    } else if (std::string_view(to, out.used).ends_with(separator)) {
      out.used -= separator.size();
    }
  }
  while (out.used > 0 && to[out.used - 1] == ' ')
    --out.used;
  return out.failed ? 0 : out.used;
}
