#include "setup/host.h"
#include "setup/methods.h"
#include "setup/options.h"
#include "setup/values.h"
#include "setup/vane.h"

#include <string.h>

#include <array>

namespace {

using preference_data = std::array<char, CV_SETUP_PREFERENCE_SIZE>;

void add_version(xp_obj *result) {
  uint16_t packed = 0;
  if (cv_setup_getvane()->VaneVersion(&packed, 0) != 0) return;
  const int version = packed;
  xp_dict_adopt(
      result, "version", -1,
      xp_str_format("%d.%d.%d.%d", version >> 12, version >> 8 & 15, version >> 4 & 15, version & 15));
}

void add_options(xp_obj *result) {
  uint32_t options = 0;
  uint32_t allowed = 0;
  if (cv_setup_getvane()->VaneGetOptions(0, &options, &allowed) != 0) options = allowed = 0;
  for (const cv_setup_option &option : cv_setup_options) {
    cv_setup_store_boolean(result, option.key, ((options & option.bit) != 0) != option.inverted);
    if (option.allowed_key != nullptr)
      cv_setup_store_boolean(result, option.allowed_key, (allowed & option.bit) != 0);
  }
  cv_setup_store_boolean(result, "locked", (allowed & CV_SETUP_UNLOCKED_BIT) == 0);
}

// The preference's data over a zeroed buffer; false when the framework has none.
bool read_preference(uint32_t code, preference_data &data) {
  data = {};
  return cv_setup_getvane()->VaneGetPrefData(0, code, 0, CV_SETUP_PREFERENCE_SIZE, data.data(), 0) == 0;
}

void add_preferences(xp_obj *result) {
  preference_data data;
  for (const cv_setup_preference &preference : cv_setup_preferences)
    cv_setup_store_boolean(result, preference.key, read_preference(preference.code, data) && data[0] != 0);
}

void add_ticket(xp_obj *result) {
  preference_data data;
  uint32_t first_word = 0;
  if (read_preference(CV_SETUP_TICKET_PREFERENCE, data)) memcpy(&first_word, data.data(), sizeof first_word);
  cv_setup_store_boolean(result, "ticket", first_word != 0);
}

}  // namespace

xp::ref cv_setup_capability_list(xp_obj *) {
  xp::ref result = xp::ref::adopt(xp_dict_new(0));
  add_version(result.get());
  add_options(result.get());
  add_preferences(result.get());
  cv_setup_store_boolean(result.get(), "scripts", true);
  add_ticket(result.get());
  cv_setup_native_oscapabilities(result.get());
  return result;
}

xp::ref cv_setup_ensure_logon(xp_obj *) {
  cv_setup_vane *vane = cv_setup_getvane();
  uint64_t status = 0;
  int16_t error = vane->VaneLogon(0, 0, 0);
  if (error == 0) error = vane->VaneGetSessionStatus(0, 0, 0, &status);
  xp::ref result = xp::ref::adopt(xp_dict_new(0));
  cv_setup_store_boolean(result.get(), "connected", error == 0 && status != 0);
  if (error != 0) cv_setup_store_number(result.get(), "error", error);
  return result;
}

xp::ref cv_setup_set_options(xp_obj *args) {
  uint32_t values = 0;
  uint32_t mask = 0;
  for (const cv_setup_option &option : cv_setup_options) {
    const xp::ref wanted = cv_setup_value(args, option.key);
    if (!wanted) continue;
    mask |= option.bit;
    if ((xp_truthy(wanted.get()) != 0) != option.inverted) values |= option.bit;
  }
  cv_setup_getvane()->VaneSetOptions(0, values, mask);
  return nullptr;
}

xp::ref cv_setup_open_page(xp_obj *args) {
  const xp::ref name = cv_setup_text(args, "page");
  if (!name) return nullptr;
  for (const cv_setup_page &page : cv_setup_pages) {
    if (xp_str_icmpq(name.get(), page.name, -1) != 0) continue;
    cv_setup_getvane()->VaneDisplayServerPage(0, page.code);
    break;
  }
  return nullptr;
}

xp::ref cv_setup_open_app(xp_obj *args) {
  cv_setup_native_osopenapp(cv_setup_string(args, "app").get());
  return nullptr;
}

xp::ref cv_setup_open_fda(xp_obj *) {
  cv_setup_native_osopenfda();
  return nullptr;
}
