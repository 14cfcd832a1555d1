// The doubly linked list of caller-defined nodes: every node starts with the
// `prev` and `next` links of ll_node.
#include <cstdlib>

#include "frame/call.hpp"
#include "kelkit/list.h"

namespace {

inline ll_node *as_node(const void *p) {
  return static_cast<ll_node *>(const_cast<void *>(p));
}

} // namespace

extern "C" {

KELKIT_API void *ll_create(int size) {
  void *node = nullptr;
  if (size >= 0) {
    std::size_t bytes = static_cast<std::size_t>(size);
    if (bytes < sizeof(ll_node))
      bytes = sizeof(ll_node);
    node = std::calloc(1, bytes);
  }
  if (!node)
    kel::fail("ll_create", KEL_ERR_NO_MEMORY);
  return node;
}

KELKIT_API void *ll_next(const void *node) {
  return node ? as_node(node)->next : nullptr;
}

KELKIT_API void *ll_previous(const void *node) {
  return node ? as_node(node)->prev : nullptr;
}

KELKIT_API void *ll_tail(const void *node) {
  if (!node)
    return nullptr;
  ll_node *start = as_node(node), *n = start;
  while (n->next && n->next != start)
    n = n->next;
  return n;
}

KELKIT_API void *ll_append(void *list, void *node) {
  if (!node)
    return nullptr;
  if (!list)
    return node;
  ll_node *tail = static_cast<ll_node *>(ll_tail(list));
  ll_node *n = as_node(node);
  tail->next = n;
  n->prev = tail;
  return node;
}

KELKIT_API void *ll_insert(void *pos, void *node) {
  if (!node)
    return nullptr;
  ll_node *n = as_node(node);
  if (!pos) {
    n->prev = n->next = nullptr;
    return node;
  }
  ll_node *p = as_node(pos);
  n->prev = p;
  n->next = p->next;
  if (p->next)
    p->next->prev = n;
  p->next = n;
  return node;
}

KELKIT_API int ll_count(const void *node) {
  if (!node)
    return 0;
  const ll_node *start = as_node(node);
  int count = 1;
  for (const ll_node *n = start->next; n && n != start; n = n->next)
    ++count;
  return count;
}

KELKIT_API void *ll_unlink(void *node) {
  if (!node)
    return nullptr;
  ll_node *n = as_node(node);
  if (n->prev)
    n->prev->next = n->next;
  if (n->next)
    n->next->prev = n->prev;
  return node;
}

KELKIT_API void *ll_delete(void *node) {
  if (!node)
    return nullptr;
  ll_node *n = as_node(node);
  // Links that lead back to the node itself (the last node of a ring) are
  // no neighbours.
  ll_node *next = n->next != n ? n->next : nullptr;
  ll_node *prev = n->prev != n ? n->prev : nullptr;
  ll_unlink(n);
  std::free(n);
  return next ? next : prev;
}

KELKIT_API void ll_delete_list(void *node) {
  while (node)
    node = ll_delete(node);
}

KELKIT_API void *ll_reverse_list(void *head) {
  if (!head)
    return nullptr;
  ll_node *start = as_node(head), *n = start, *last = start;
  do {
    ll_node *old_next = n->next;
    n->next = n->prev;
    n->prev = old_next;
    last = n;
    n = old_next;
  } while (n && n != start);
  return last;
}

KELKIT_API void *ll_sort_list(void *head, ll_compare_fn compare) {
  if (!head || !compare)
    return head;
  ll_node *first = as_node(head);
  for (ll_node *v = first; v;) {
    ll_node *successor = v->next;
    // Step back past every predecessor that v precedes; an equal one stops
    // the walk, which keeps the sort stable.
    ll_node *s = v;
    while (s->prev && compare(v, s->prev) < 0)
      s = s->prev;
    if (s != v) {
      // Take v out (it has a predecessor, since s is before it) ...
      v->prev->next = v->next;
      if (v->next)
        v->next->prev = v->prev;
      // ... and put it immediately before s.
      v->prev = s->prev;
      v->next = s;
      if (s->prev)
        s->prev->next = v;
      else
        first = v;
      s->prev = v;
    }
    v = successor;
  }
  return first;
}

} // extern "C"
