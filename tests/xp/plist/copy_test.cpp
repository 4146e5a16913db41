// Copies of trees and checksums over them.

#include "xp/plist/copy.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/plist.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/service/url.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

using plist_copy = leak_check;
using xp::ref;
using generator = std::mt19937;

ref parsed(const char *text) {
  return ref::adopt(xp_plist_parse(text, -1, XP_PLIST_JSON));
}

std::string written(xp_obj *tree) {
  return taken(xp_plist_string(tree, XP_PLIST_JSON_BARE, 1));
}

int64_t sum_of(const ref &tree) {
  return xp_plist_ichecksum(tree.get(), &xp_plist_stylerecord(1), 0);
}

ref leaf(generator &random) {
  const auto number = static_cast<int64_t>(random());
  switch (random() % 6) {
    case 0: return nullptr;
    case 1: return ref::adopt(xp_number_new(number));
    case 2: return ref::adopt(xp_number_newfloat(static_cast<double>(number) / 7));
    case 3: return ref::adopt(xp_data_new(&number, 1 + number % 7));
    case 4: return ref::adopt(xp_date_msnew(number));
    default: return ref::adopt(xp_str_format("text %d", static_cast<int>(number)));
  }
}

// A tree of the seed. What `order` shuffles is the order in which entries are stored, nothing else.
ref grown(generator &random, generator &order, int depth) {
  if (depth == 0 || random() % 4 == 0) return leaf(random);
  std::vector<ref> members;
  for (auto i = random() % 8; i > 0; --i)
    members.push_back(grown(random, order, depth - 1));
  if (random() % 2 == 0) {
    ref array = ref::adopt(xp_array_new(0));
    for (const ref &member : members)
      xp_array_insert(array.get(), member.get(), -1);
    return array;
  }
  ref dict = ref::adopt(xp_dict_new(random() % 2 == 0 ? XP_DICT_NOCASE : 0U));
  std::vector<int> places(members.size());
  std::iota(places.begin(), places.end(), 0);
  std::shuffle(places.begin(), places.end(), order);
  for (int i : places)
    xp_dict_store(dict.get(), ("key " + std::to_string(i)).c_str(), -1,
                  members[static_cast<size_t>(i)].get());
  return dict;
}

// Calls `visit` with the path of every container and data object of a tree.
template <typename Visit>
void each_changeable(xp_obj *list, const std::string &path, Visit visit) {
  const ref node = ref::adopt(xp_plist_get(list, path.c_str()));
  const uint32_t type = xp_type(node.get());
  if (type == xp_code("data")) visit(path, node);
  if (type != xp_code("dict") && type != xp_code("arry")) return;
  visit(path, node);
  for (int i = 0; i < 8; ++i)
    each_changeable(list, path + (type == xp_code("dict") ? "/key " : "/#") + std::to_string(i), visit);
}

void change(const ref &node) {
  xp_data_append(node.get(), "x", 1);
  xp_array_insert(node.get(), num(7).get(), 0);
  xp_dict_store(node.get(), "new", -1, num(7).get());
}

// The checksum depends on the tree alone; a copy equals its original, shares nothing that can change with it,
// and every single change shows in the checksum.
TEST_F(plist_copy, equals_its_original_until_either_changes) {
  int changes = 0;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    generator random(seed), same(seed), order(1), other_order(2);
    const ref tree = grown(random, order, 3);
    EXPECT_EQ(sum_of(tree), sum_of(grown(same, other_order, 3)));
    const ref list = ref::adopt(xp_plist_make(tree.get()));
    const std::string text = written(tree.get());
    const int64_t sum = sum_of(tree);
    each_changeable(list.get(), "", [&](const std::string &path, const ref &original) {
      const ref copy = ref::adopt(xp_plist_copy(list.get()));
      const ref node = ref::adopt(xp_plist_get(copy.get(), path.c_str()));
      ASSERT_NE(node.get(), original.get()) << path;
      EXPECT_EQ(written(copy.get()), text) << path;
      EXPECT_EQ(xp_plist_checksum(copy.get()), sum) << path;
      change(node);
      EXPECT_NE(xp_plist_checksum(copy.get()), sum) << path;
      EXPECT_EQ(sum_of(tree), sum) << path;
      ++changes;
    });
  }
  EXPECT_GT(changes, 100);
}

TEST_F(plist_copy, keeps_settings_and_shares_what_cannot_change) {
  const ref list = parsed(R"({"Aa":"text","b":[1000,null],"n":null})");
  xp_plist_setstyle(list.get(), 2);
  xp_plist_setnulls(list.get(), 1);
  const ref copy = ref::adopt(xp_plist_copy(list.get()));
  EXPECT_EQ(text_of(copy.get()),
            "{\n\t\"Aa\" : \"text\",\n\t\"b\" : [\n\t\t1000,\t\tnull\n\t],\n\t\"n\" : null\n}\n");
  for (const char *path : {"/AA", "/B/#0"})
    EXPECT_EQ(ref::adopt(xp_plist_get(copy.get(), path)).get(),
              ref::adopt(xp_plist_get(list.get(), path)).get());
  const ref dict = ref::adopt(xp_plist_get(list.get(), ""));
  const ref array = ref::adopt(xp_plist_get(list.get(), "/b"));
  const ref empty = ref::adopt(xp_plist_copy(ref::adopt(xp_plist_make(nullptr)).get()));
  expect({xp_plist_arraycopy(array.get()), xp_plist_dictcopy(dict.get()), xp_plist_arraycopy(dict.get()),
          xp_plist_dictcopy(array.get()), xp_plist_icopy(nullptr), xp_plist_copy(dict.get()),
          written(empty.get())},
         R"([1000,null] {"Aa":"text","b":[1000,null]} null null null null null)");
}

TEST_F(plist_copy, takes_no_stack) {
  ref tree = ref::adopt(xp_array_new(0));
  for (int level = 0; level < 1000000; ++level) {
    ref outer = ref::adopt(level % 2 == 0 ? xp_dict_new(0) : xp_array_new(0));
    if (level % 2 == 0) xp_dict_store(outer.get(), "k", 1, tree.get());
    xp_array_insert(outer.get(), tree.get(), -1);
    tree = outer;
  }
  EXPECT_NE(ref::adopt(xp_plist_icopy(tree.get())).get(), tree.get());
}

// The sums are those of zlib over the same bytes.
TEST_F(plist_copy, checksum_of_a_known_tree) {
  const ref list = parsed(R"({"b":-2,"n":null,"a":[true,null,"x",[]],"d":1.5})");
  const ref root = ref::adopt(xp_plist_get(list.get(), ""));
  const ref array = ref::adopt(xp_plist_get(list.get(), "/a"));
  EXPECT_EQ(xp_plist_checksum(list.get()), 0x7F620250);
  EXPECT_EQ(xp_plist_ichecksum(root.get(), nullptr, 0), 0x03AB6FEC) << "without a text for null";
  expect({xp_plist_dictcsum(array.get(), nullptr, 77), xp_plist_arraycsum(array.get(), nullptr, -1),
          xp_plist_checksum(root.get()), xp_plist_modified(root.get())},
         "77 -1 0 0");
  EXPECT_NE(sum_of(str("s")), sum_of(ref::adopt(xp_url_new("s", -1)))) << "the type counts";
}

TEST_F(plist_copy, a_bookmark_tells_changes) {
  const ref list = parsed(R"({"a":[1]})");
  EXPECT_EQ(xp_plist_modified(list.get()), xp_plist_checksum(list.get())) << "no bookmark yet";
  const int64_t first = xp_plist_bookmark(list.get());
  EXPECT_EQ(xp_plist_modified(list.get()), 0);
  xp_plist_set(list.get(), "/a/#0", num(2).get());
  EXPECT_NE(xp_plist_modified(list.get()), first);
  EXPECT_EQ(xp_plist_modified(ref::adopt(xp_plist_copy(list.get())).get()), xp_plist_checksum(list.get()));
  xp_plist_set(list.get(), "/a/#0", num(1).get());
  EXPECT_EQ(xp_plist_modified(list.get()), 0) << "back to what was marked";
}

}  // namespace
