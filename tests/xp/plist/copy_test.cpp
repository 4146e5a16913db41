// Copies of trees and checksums over them.

#include "xp/plist/copy.h"

#include "tests/support/leak_check.h"
#include "tests/xp/plist/random_tree.h"
#include "xp/plist/checksum.h"
#include "xp/plist/plist.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using plist_copy = leak_check;
using xp::ref;

ref parsed(const char *text) {
  return ref::adopt(xp_plist_parse(text, -1, XP_PLIST_JSON));
}

std::string written(xp_obj *tree) {
  return taken(xp_plist_string(tree, XP_PLIST_JSON_BARE, 1));
}

int64_t sum_of(const ref &tree) {
  return xp_plist_ichecksum(tree.get(), &xp_plist_stylerecord(1), 0);
}

using nodes = std::vector<ref>;

int64_t collect_entry(xp_obj *, const char *, int64_t, xp_obj *value, void *all);

// All containers and data objects of a tree, each before what is in it.
void collect(xp_obj *node, nodes &all) {
  const uint32_t type = xp_type(node);
  if (type != xp_dict_type() && type != xp_array_type() && type != xp_data_type()) return;
  all.push_back(ref::share(node));
  xp_dict_enumsorted(node, collect_entry, &all);
  for (int64_t i = 0; i < xp_array_length(node); ++i)
    collect(ref::adopt(xp_array_get(node, i)).get(), all);
}

int64_t collect_entry(xp_obj *, const char *, int64_t, xp_obj *value, void *all) {
  collect(value, *static_cast<nodes *>(all));
  return 0;
}

nodes changeable(const ref &tree) {
  nodes all;
  collect(tree.get(), all);
  return all;
}

// The same tree in new dictionaries, their entries stored in the opposite order.
ref turned(const ref &tree) {
  if (xp_type(tree.get()) != xp_dict_type()) return tree;
  std::vector<std::pair<std::string, ref>> entries;
  const auto note = [](xp_obj *, const char *key, int64_t length, xp_obj *value, void *to) -> int64_t {
    static_cast<decltype(entries) *>(to)->emplace_back(std::string(key, static_cast<size_t>(length)),
                                                       ref::share(value));
    return 0;
  };
  xp_dict_enum(tree.get(), note, &entries);
  ref dict = ref::adopt(xp_dict_new(0));
  for (; !entries.empty(); entries.pop_back())
    xp_dict_store(dict.get(), entries.back().first.c_str(), -1, turned(entries.back().second).get());
  return dict;
}

void change(const ref &node) {
  xp_data_append(node.get(), "x", 1);
  xp_array_insert(node.get(), num(7).get(), 0);
  xp_dict_store(node.get(), "new", -1, num(7).get());
}

// The checksum depends on the tree alone; a copy equals its original, shares nothing that can change with it,
// and every single change shows in the checksum.
TEST_F(plist_copy, equals_its_original_until_either_changes) {
  constexpr uint32_t seed = 20261121;
  random_trees trees({.kinds = "nifdtsAADD"}, seed);
  size_t changes = 0;
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", " + std::to_string(i));
    const ref tree = trees.dict();
    const std::string text = written(tree.get());
    const int64_t sum = sum_of(tree);
    EXPECT_EQ(sum_of(turned(tree)), sum);
    const nodes originals = changeable(tree);
    for (size_t at = 0; at < originals.size(); ++at) {
      const ref copy = ref::adopt(xp_plist_icopy(tree.get()));
      EXPECT_EQ(written(copy.get()), text);
      EXPECT_EQ(sum_of(copy), sum);
      const nodes copies = changeable(copy);
      ASSERT_NE(copies[at].get(), originals[at].get());
      change(copies[at]);
      EXPECT_NE(sum_of(copy), sum);
      EXPECT_EQ(sum_of(tree), sum);
    }
    changes += originals.size();
  }
  EXPECT_GT(changes, 500U);
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
