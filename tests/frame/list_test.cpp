// The linked-list utility: linking, counting (rings included), deletion in
// both directions, reversal and the stable insertion sort.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct Item {
  Item *prev;
  Item *next;
  int key;
  int tag;
};

Item *make(int key, int tag = 0) {
  Item *n = static_cast<Item *>(ll_create(sizeof(Item)));
  EXPECT_NE(n, nullptr);
  n->key = key;
  n->tag = tag;
  return n;
}

// A linear list of the keys, returns the head.
Item *make_list(const std::vector<int> &keys) {
  Item *head = nullptr;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    Item *n = make(keys[i], static_cast<int>(i));
    n->next = nullptr;
    if (!head) {
      n->prev = nullptr;
      head = n;
    } else {
      ll_append(head, n);
    }
  }
  return head;
}

// Tags along `next`, checking every back link on the way.
std::vector<int> tags(const Item *head) {
  std::vector<int> out;
  EXPECT_TRUE(head == nullptr || head->prev == nullptr);
  for (const Item *n = head; n; n = n->next) {
    if (n->next) {
      EXPECT_EQ(n->next->prev, n);
    }
    out.push_back(n->tag);
  }
  return out;
}

int by_key(const void *a, const void *b) {
  return static_cast<const Item *>(a)->key - static_cast<const Item *>(b)->key;
}

int compare_calls = 0;
int all_equal(const void *, const void *) {
  ++compare_calls;
  return 0;
}

TEST(List, CreateAppendInsertAndNullArguments) {
  Item *a = make(1, 0);
  EXPECT_EQ(a->prev, nullptr);  // zero-filled
  EXPECT_EQ(a->next, nullptr);
  // Appending to no list returns the node and leaves its links alone.
  Item *b = make(2, 1);
  b->prev = b->next = reinterpret_cast<Item *>(0x10);
  EXPECT_EQ(ll_append(nullptr, b), b);
  EXPECT_EQ(b->prev, reinterpret_cast<Item *>(0x10));
  b->prev = b->next = nullptr;
  EXPECT_EQ(ll_append(a, nullptr), nullptr);
  EXPECT_EQ(ll_append(a, b), b);
  Item *d = make(4, 3);
  ll_append(b, d);  // any node names the list
  EXPECT_EQ(tags(a), (std::vector<int>{0, 1, 3}));
  Item *c = make(3, 2);
  EXPECT_EQ(ll_insert(b, c), c);
  EXPECT_EQ(tags(a), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(ll_insert(b, nullptr), nullptr);
  Item *lone = make(5);
  lone->prev = lone->next = reinterpret_cast<Item *>(0x10);
  EXPECT_EQ(ll_insert(nullptr, lone), lone);
  EXPECT_EQ(lone->prev, nullptr);
  EXPECT_EQ(lone->next, nullptr);
  Item *e = make(6, 4);
  ll_insert(d, e);  // after the tail
  EXPECT_EQ(tags(a), (std::vector<int>{0, 1, 2, 3, 4}));

  EXPECT_EQ(ll_next(a), b);
  EXPECT_EQ(ll_previous(b), a);
  EXPECT_EQ(ll_next(nullptr), nullptr);
  EXPECT_EQ(ll_previous(nullptr), nullptr);
  EXPECT_EQ(ll_tail(a), e);
  EXPECT_EQ(ll_tail(e), e);
  EXPECT_EQ(ll_tail(nullptr), nullptr);
  EXPECT_EQ(ll_count(a), 5);
  EXPECT_EQ(ll_count(c), 3);
  EXPECT_EQ(ll_count(nullptr), 0);
  EXPECT_EQ(ll_count(lone), 1);
  EXPECT_EQ(ll_unlink(nullptr), nullptr);
  EXPECT_EQ(ll_delete(nullptr), nullptr);
  EXPECT_EQ(ll_reverse_list(nullptr), nullptr);
  EXPECT_EQ(ll_sort_list(nullptr, by_key), nullptr);
  EXPECT_EQ(ll_sort_list(a, nullptr), a);
  ll_delete_list(nullptr);
  EXPECT_EQ(ll_delete(lone), nullptr);
  ll_delete_list(c);  // from the middle, both directions
}

TEST(List, CreateFailureAndSmallSizes) {
  kt::clear_report();
  EXPECT_EQ(ll_create(-1), nullptr);
  EXPECT_REPORT("ll_create", 4);
  kt::clear_report();
  Item *tiny = static_cast<Item *>(ll_create(0));  // still holds the links
  ASSERT_NE(tiny, nullptr);
  EXPECT_NO_REPORT();
  tiny->prev = tiny->next = nullptr;
  EXPECT_EQ(ll_count(tiny), 1);
  ll_delete(tiny);
}

TEST(List, RingsAreCountedOnce) {
  Item *a = make_list({1, 2, 3});
  Item *c = static_cast<Item *>(ll_tail(a));
  c->next = a;
  a->prev = c;
  EXPECT_EQ(ll_count(a), 3);
  EXPECT_EQ(ll_count(a->next), 3);
  EXPECT_EQ(ll_tail(a), c);
  EXPECT_EQ(ll_tail(c), a->next);
  // Reversal swaps every node once.
  Item *r = static_cast<Item *>(ll_reverse_list(a));
  EXPECT_EQ(r, c);
  EXPECT_EQ(a->next, c);
  EXPECT_EQ(c->next->tag, 1);
  EXPECT_EQ(ll_count(r), 3);
  // A node linked to itself is a ring of one.
  Item *self = make(9);
  self->prev = self->next = self;
  EXPECT_EQ(ll_count(self), 1);
  EXPECT_EQ(ll_delete(self), nullptr);
  ll_delete_list(a);  // deletes the whole ring
}

TEST(List, DeleteReturnsANeighbour) {
  Item *a = make_list({1, 2, 3});
  Item *b = a->next, *c = b->next;
  EXPECT_EQ(ll_delete(b), c);  // middle of three: the third
  EXPECT_EQ(a->next, c);
  EXPECT_EQ(c->prev, a);
  EXPECT_EQ(ll_delete(c), a);  // the tail: the new tail
  EXPECT_EQ(a->next, nullptr);
  EXPECT_EQ(ll_count(a), 1);
  EXPECT_EQ(ll_delete(a), nullptr);  // a lone node

  // Unlink joins the neighbours but leaves the node's own links.
  Item *l = make_list({1, 2, 3});
  Item *m = l->next;
  EXPECT_EQ(ll_unlink(m), m);
  EXPECT_EQ(l->next, m->next);
  EXPECT_EQ(m->next->prev, l);
  EXPECT_EQ(m->prev, l);
  EXPECT_EQ(tags(l), (std::vector<int>{0, 2}));
  std::free(m);
  ll_delete_list(ll_tail(l));  // from the tail, backwards
}

TEST(List, ReverseLinearList) {
  Item *a = make_list({5, 6, 7, 8});
  Item *r = static_cast<Item *>(ll_reverse_list(a));
  EXPECT_EQ(tags(r), (std::vector<int>{3, 2, 1, 0}));
  EXPECT_EQ(a->next, nullptr);
  Item *one = make_list({1});
  EXPECT_EQ(ll_reverse_list(one), one);
  EXPECT_EQ(one->prev, nullptr);
  EXPECT_EQ(one->next, nullptr);
  ll_delete_list(r);
  ll_delete_list(one);
}

TEST(List, SortIsStableInsertion) {
  // Tags record the original position: equal keys must keep it.
  Item *h = make_list({3, 1, 2, 1, 3, 0, 2, 1});
  h = static_cast<Item *>(ll_sort_list(h, by_key));
  EXPECT_EQ(tags(h), (std::vector<int>{5, 1, 3, 7, 2, 6, 0, 4}));
  EXPECT_EQ(ll_count(h), 8);
  std::vector<int> keys;
  for (Item *n = h; n; n = n->next)
    keys.push_back(n->key);
  EXPECT_EQ(keys, (std::vector<int>{0, 1, 1, 1, 2, 2, 3, 3}));
  ll_delete_list(h);

  // All equal: nothing moves, and each node is compared once with its
  // predecessor only.
  Item *e = make_list({4, 4, 4, 4});
  compare_calls = 0;
  Item *same = static_cast<Item *>(ll_sort_list(e, all_equal));
  EXPECT_EQ(same, e);
  EXPECT_EQ(tags(same), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(compare_calls, 3);
  ll_delete_list(e);

  // Reverse order: the tail becomes the head; a single node stays.
  Item *r = make_list({4, 3, 2, 1, 0});
  r = static_cast<Item *>(ll_sort_list(r, by_key));
  EXPECT_EQ(tags(r), (std::vector<int>{4, 3, 2, 1, 0}));
  EXPECT_EQ(static_cast<Item *>(ll_tail(r))->key, 4);
  ll_delete_list(r);
  Item *one = make_list({7});
  EXPECT_EQ(ll_sort_list(one, by_key), one);
  ll_delete_list(one);
}

}  // namespace
