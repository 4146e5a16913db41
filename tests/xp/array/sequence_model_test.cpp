// Random operations on arrays and lists and on a plain vector, compared after every step. The objects come
// from a small pool in which some are equal without being the same, and null is among them.

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/array/array_bulk.h"
#include "xp/array/build.h"
#include "xp/array/list.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <algorithm>
#include <random>
#include <vector>

namespace {

using xp::ref;
using items = std::vector<xp_obj *>;
constexpr uint32_t seed = 20240131;

class sequence_model : public leak_check, public testing::WithParamInterface<uint32_t> {
protected:
  void SetUp() override {
    leak_check::SetUp();
    pool = {nullptr};
    for (uintptr_t i = 1; i <= 18; ++i)
      pool.push_back(raw() ? reinterpret_cast<xp_obj *>(i)
                           : xp_number_new(100 + static_cast<int64_t>(i % 9)));
  }
  void TearDown() override {
    sequence = nullptr;
    for (xp_obj *obj : pool) {
      if (raw()) break;
      EXPECT_LE(xp_refs(obj), 1) << "only the pool holds it";
      xp_release(obj);
    }
    leak_check::TearDown();
  }

  virtual bool raw() const { return (GetParam() & 1) != 0; }
  // One step of three kinds: on a single item, only looking, or on the whole.
  virtual void single() = 0;
  virtual void look_up() = 0;
  virtual void whole() = 0;
  virtual items content() = 0;
  void agrees_with_a_vector(xp_obj *made) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    sequence = ref::adopt(made);
    for (int i = 0; i < 6000; ++i) {
      const auto dice = random() % 8;
      dice == 0 ? whole() : dice < 3 ? look_up() : single();
      ASSERT_FALSE(HasFatalFailure()) << "at step " << i;
      ASSERT_EQ(content(), model) << "at step " << i;
    }
  }

  xp_obj *any() { return pool[random() % pool.size()]; }
  int64_t place() { return static_cast<int64_t>(random() % (model.size() + 3)) - 1; }

  // What an operation gave, owned by us; the object alone counts.
  xp_obj *given(xp_obj *obj) {
    if (!raw()) xp_release(obj);
    return obj;
  }
  bool equal(xp_obj *a, xp_obj *b) const { return raw() ? a == b : xp_compare(a, b) == 0; }
  auto equals(xp_obj *obj) const {
    return [this, obj](xp_obj *item) { return equal(item, obj); };
  }
  int64_t find(xp_obj *obj) const {
    auto at = std::find_if(model.begin(), model.end(), equals(obj));
    return at == model.end() ? -1 : at - model.begin();
  }
  void add_new(const items &more) {
    for (xp_obj *obj : more) {
      if (find(obj) < 0) model.push_back(obj);
    }
  }
  static int64_t collect(xp_obj *value, void *context) {
    return static_cast<items *>(context)->push_back(value), 0;
  }
  static int64_t is_it(xp_obj *value, void *context) { return value == context; }

  std::mt19937 random{seed};
  items pool;
  ref sequence;
  items model;
};

class array_model : public sequence_model {
protected:
  bool raw() const override { return (GetParam() & XP_ARRAY_RAW) != 0; }

  items content() override { return content_of(sequence); }
  static items content_of(const ref &a) {
    items found;
    xp_array_scan(a.get(), collect, &found);
    return found;
  }
  ref some(items &more) {
    ref a = ref::adopt(xp_array_new(GetParam()));
    for (auto i = random() % 12; i > 0; --i) {
      more.push_back(any());
      xp_array_insert(a.get(), more.back(), -1);
    }
    return a;
  }
  void sort_and_search();
  void single() override;
  void look_up() override;
  void whole() override;
};

void array_model::single() {
  xp_obj *a = sequence.get();
  int64_t at = place();
  auto count = static_cast<int64_t>(model.size());
  bool inside = at >= 0 && at < count;
  xp_obj *obj = any();
  switch (random() % 8) {
    case 0:
      ASSERT_EQ(given(xp_array_remove(a, at)), inside ? model[static_cast<size_t>(at)] : nullptr);
      if (inside) model.erase(model.begin() + at);
      break;
    case 1:
      ASSERT_EQ(xp_array_delete(a, at), inside ? 0 : -1);
      if (inside) model.erase(model.begin() + at);
      break;
    case 2:
      ASSERT_EQ(xp_array_set(a, obj, at), inside ? 0 : -1);
      if (inside) model[static_cast<size_t>(at)] = obj;
      break;
    case 3: ASSERT_EQ(given(xp_array_get(a, at)), inside ? model[static_cast<size_t>(at)] : nullptr); break;
    case 4: xp_array_setgrowth(a, static_cast<int64_t>(random() % 5 + 1)); break;
    default:
      ASSERT_EQ(xp_array_insert(a, obj, at), inside ? at : count);
      model.insert(inside ? model.begin() + at : model.end(), obj);
  }
}

void array_model::look_up() {
  xp_obj *a = sequence.get();
  xp_obj *obj = any();
  ASSERT_EQ(xp_array_find(a, obj), find(obj));
  ASSERT_EQ(xp_array_includes(a, obj), find(obj) >= 0);
  auto at = std::find(model.begin(), model.end(), obj);
  ASSERT_EQ(xp_array_present(a, obj), at != model.end());
  ASSERT_EQ(xp_array_scan(a, is_it, obj), at == model.end() ? -1 : at - model.begin());
}

// By value, equal ones by address.
void array_model::sort_and_search() {
  std::sort(model.begin(), model.end(), [this](xp_obj *a, xp_obj *b) {
    const int64_t order = raw() || equal(a, b) ? 0 : xp_compare(a, b);
    return order != 0 ? order < 0 : a < b;
  });
  xp_array_sort(sequence.get(), nullptr, nullptr);
  xp_obj *obj = any();
  const int64_t at = xp_array_search(sequence.get(), obj, nullptr, nullptr);
  ASSERT_EQ(at >= 0, find(obj) >= 0);
  ASSERT_TRUE(at < 0 || equal(model[static_cast<size_t>(at)], obj));
}

// The same items in an array that is made at once.
ref at_once(const items &model) {
  xp_obj **to = nullptr;
  ref a = ref::adopt(xp::array_of(std::ssize(model), &to));
  for (xp_obj *item : model)
    *to++ = xp_retain(item);
  return a;
}

void array_model::whole() {
  xp_obj *a = sequence.get();
  auto count = static_cast<int64_t>(model.size());
  auto is_null = [](xp_obj *obj) { return obj == nullptr; };
  items more;
  ref other = some(more);
  const items others = more;
  int64_t at = place();
  switch (random() % 11) {
    case 0:
      ASSERT_EQ(xp_array_truncate(a, at), at < 0 ? 0 : std::max<int64_t>(count - at, 0));
      if (at >= 0) model.resize(static_cast<size_t>(std::min(at, count)));
      break;
    case 1: ASSERT_EQ(xp_array_condense(a), static_cast<int64_t>(std::erase_if(model, is_null))); break;
    case 2: {
      model.erase(model.begin(), std::find_if_not(model.begin(), model.end(), is_null));
      model.erase(std::find_if_not(model.rbegin(), model.rend(), is_null).base(), model.end());
      ASSERT_EQ(xp_array_trim(a), count - static_cast<int64_t>(model.size()));
      break;
    }
    case 3: {
      const items all = std::exchange(model, {});
      add_new(all);
      ASSERT_EQ(xp_array_unique(a), count - static_cast<int64_t>(model.size()));
      break;
    }
    case 4: {
      bool inside = at >= 0 && at < count;
      ASSERT_EQ(xp_array_inject(a, other.get(), at), inside ? at : count);
      model.insert(inside ? model.begin() + at : model.end(), more.begin(), more.end());
      break;
    }
    case 5: {
      bool itself = count < 50 && random() % 2 == 0;
      if (itself) more = model;
      model.insert(model.end(), more.begin(), more.end());
      ASSERT_EQ(xp_array_join(a, itself ? a : other.get()), static_cast<int64_t>(model.size()));
      break;
    }
    case 6:
      add_new(more);
      ASSERT_EQ(xp_array_merge(a, other.get()), static_cast<int64_t>(model.size()));
      break;
    case 7:
      std::reverse(model.begin(), model.end());
      xp_array_reverse(a);
      break;
    case 8: ASSERT_EQ(xp_array_setfinal(a), count); break;
    case 9: sort_and_search(); break;
    default:
      if (GetParam() == 0) sequence = at_once(model);
  }
  ASSERT_EQ(content_of(other), others);
}

TEST_P(array_model, agrees_with_a_vector) {
  agrees_with_a_vector(xp_array_new(GetParam()));
  EXPECT_EQ(content_of(ref::adopt(xp_array_copy(sequence.get()))), model);
  EXPECT_EQ(content_of(ref::adopt(xp_duplicate(sequence.get(), 0))), model);
}

INSTANTIATE_TEST_SUITE_P(flags, array_model, testing::Values(0, XP_ARRAY_LOCKED, 1, 2, 3 | XP_ARRAY_LOCKED));

class list_model : public sequence_model {
protected:
  // Walks pass over null members, which count all the same.
  items content() override { return walked(sequence); }
  items walked(const ref &l, bool forward = true) {
    items found;
    ref walk = ref::adopt(xp_trav_make(l.get()));
    while (xp_obj *obj = given(forward ? xp_trav_next(walk.get()) : xp_trav_prev(walk.get())))
      found.push_back(obj);
    return found;
  }
  xp_obj *owned(xp_obj *obj) { return (GetParam() & XP_LIST_ADOPT) != 0 ? xp_retain(obj) : obj; }
  xp_obj *any_member() { return pool[1 + random() % (pool.size() - 1)]; }

  void single() override;
  void look_up() override;
  void whole() override;
};

void list_model::single() {
  xp_obj *l = sequence.get();
  xp_obj *obj = any_member();
  auto at = std::find(model.begin(), model.end(), obj);
  bool there = at != model.end();
  switch (random() % 8) {
    case 0:
      ASSERT_EQ(xp_list_remove(l, obj), there);
      if (there) model.erase(at);
      break;
    case 1: {
      if (random() % 4 != 0) break;
      auto gone = static_cast<int64_t>(std::erase_if(model, equals(obj)));
      ASSERT_EQ(xp_list_delete(l, obj), gone);
      break;
    }
    case 2:
      ASSERT_EQ(xp_list_movetofront(l, obj), there);
      if (there) std::rotate(model.begin(), at, at + 1);
      break;
    case 3:
      ASSERT_EQ(xp_list_movetoback(l, obj), there);
      if (there) std::rotate(at, at + 1, model.end());
      break;
    case 4:
      ASSERT_EQ(given(xp_list_shift(l)), model.empty() ? nullptr : model.front());
      if (!model.empty()) model.erase(model.begin());
      break;
    case 5:
      model.insert(model.begin(), obj);
      ASSERT_EQ(xp_list_insert(l, owned(obj)), static_cast<int64_t>(model.size()));
      break;
    default:
      model.push_back(obj);
      ASSERT_EQ(xp_list_append(l, owned(obj)), static_cast<int64_t>(model.size()));
  }
}

void list_model::look_up() {
  xp_obj *l = sequence.get();
  ASSERT_EQ(xp_list_length(l), std::ssize(model));
  ASSERT_EQ(xp_truthy(l), !model.empty());
  ASSERT_EQ(xp_list_empty(l), model.empty());
  xp_obj *obj = any();
  int64_t equal_at = obj == nullptr ? -1 : find(obj);
  ASSERT_EQ(given(xp_list_find(l, obj)), equal_at < 0 ? nullptr : model[static_cast<size_t>(equal_at)]);
  ASSERT_EQ(xp_list_includes(l, obj), equal_at >= 0);
  auto at = std::find(model.begin(), model.end(), obj);
  auto last = std::find(model.rbegin(), model.rend(), obj);
  ASSERT_EQ(xp_list_present(l, obj), at != model.end());
  ASSERT_EQ(given(xp_list_scan(l, is_it, obj)), at == model.end() ? nullptr : obj);
  if (obj == nullptr) return;
  ASSERT_EQ(given(xp_list_next(l, obj)), at == model.end() || at + 1 == model.end() ? nullptr : at[1]);
  ASSERT_EQ(given(xp_list_prev(l, obj)),
            last == model.rend() || last + 1 == model.rend() ? nullptr : last[1]);
  ASSERT_EQ(given(xp_list_head(l)), model.empty() ? nullptr : model.front());
  ASSERT_EQ(given(xp_list_tail(l)), model.empty() ? nullptr : model.back());
}

void list_model::whole() {
  xp_obj *l = sequence.get();
  ref other = ref::adopt(xp_list_new(GetParam()));
  items more;
  for (auto i = random() % 8; i > 0; --i) {
    more.push_back(any_member());
    xp_list_append(other.get(), owned(more.back()));
  }
  switch (random() % 5) {
    case 0:
      std::reverse(model.begin(), model.end());
      xp_list_reverse(l);
      break;
    case 1: {
      bool itself = model.size() < 30 && random() % 2 == 0;
      if (itself) more = model;
      model.insert(model.end(), more.begin(), more.end());
      ASSERT_EQ(xp_list_join(l, itself ? l : other.get()), static_cast<int64_t>(model.size()));
      break;
    }
    case 2:
      add_new(more);
      ASSERT_EQ(xp_list_merge(l, other.get()), static_cast<int64_t>(model.size()));
      break;
    case 3: ASSERT_EQ(walked(ref::adopt(xp_list_copy(l))), model); break;
    case 4: {
      if (random() % 8 != 0) break;
      xp_list_drain(l);
      model.clear();
      break;
    }
  }
}

TEST_P(list_model, agrees_with_a_vector) {
  agrees_with_a_vector(xp_list_new(GetParam()));
  std::reverse(model.begin(), model.end());
  EXPECT_EQ(walked(sequence, false), model);
}

INSTANTIATE_TEST_SUITE_P(flags, list_model,
                         testing::Values(0, XP_LIST_RECYCLE, XP_LIST_LOCKED | XP_LIST_RECYCLE, XP_LIST_RAW,
                                         XP_LIST_ADOPT, XP_LIST_WEAK | XP_LIST_LOCKED));

}  // namespace
