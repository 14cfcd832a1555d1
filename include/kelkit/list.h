/*
 * kelkit/list.h - a doubly linked list of caller-defined nodes.
 *
 * A node is any record whose first two fields are the links `prev` and
 * `next`, in that order (the layout of ll_node below); the rest of the record
 * belongs to the caller. A list is named by any of its nodes, usually its
 * head: the head's `prev` and the tail's `next` are null. The functions take
 * and return nodes as plain addresses, so a caller passes its own record
 * type without casts.
 *
 * Nodes come from ll_create (the heap) and are released with ll_delete or
 * ll_delete_list, which use the heap's free; a node linked into a list must
 * come from ll_create or from malloc. The list owns nothing beyond its nodes.
 *
 * Null arguments are harmless: every function states what it returns for
 * them. Only ll_create reports an error. ll_count, ll_tail, ll_delete,
 * ll_delete_list and ll_reverse_list also accept a ring (the tail's `next`
 * leading back to the node they start from); ll_sort_list needs a list with
 * a head and a tail.
 *
 * No shared state: a list must not be changed by two threads at once.
 */
#ifndef KELKIT_LIST_H
#define KELKIT_LIST_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The links every node begins with. */
typedef struct ll_node {
  struct ll_node *prev; /* previous node, null at the head */
  struct ll_node *next; /* next node, null at the tail */
} ll_node;

/* Ordering of ll_sort_list: negative when node a must come before node b,
 * 0 when they are equal, positive otherwise. Receives node addresses. */
typedef int (*ll_compare_fn)(const void *a, const void *b);

/* A new node of `size` bytes (at least the two links; a smaller size is
 * raised to them), zero-filled, so both links start null. Returns null on
 * failure, and on a negative size, after reporting code 4 under "ll_create". */
KELKIT_API void *ll_create(int size);

/* The node's `next` or `prev`; null for null. */
KELKIT_API void *ll_next(const void *node);
KELKIT_API void *ll_previous(const void *node);

/* The last node: follows `next` until it is null. On a ring it stops at the
 * node whose `next` leads back to `node`. Null for null. */
KELKIT_API void *ll_tail(const void *node);

/* Links `node` after the tail of `list` (tail's next = node, node's prev =
 * tail) and returns it; the node's own `next` is left as it is. A null list
 * returns the node without touching its links; a null node returns null. */
KELKIT_API void *ll_append(void *list, void *node);

/* Links `node` directly after `pos` (between pos and pos's old next) and
 * returns it. A null pos sets both links of the node to null. A null node
 * returns null. */
KELKIT_API void *ll_insert(void *pos, void *node);

/* Number of nodes from `node` along `next` to the tail, `node` included; a
 * ring is counted once (the count stops when `next` returns to `node`).
 * 0 for null. */
KELKIT_API int ll_count(const void *node);

/* Joins the node's neighbours to each other and returns the node, whose own
 * links are left unchanged. Null for null. */
KELKIT_API void *ll_unlink(void *node);

/* Unlinks and frees the node. Returns its former `next` if there was one,
 * else its former `prev`; null for a lone node (also one whose links point to
 * itself) and for null. */
KELKIT_API void *ll_delete(void *node);

/* Frees every node of the list, in both directions from `node`: deletes the
 * current node and continues at its former `next`, or, when there is none,
 * at its former `prev`. Null does nothing. */
KELKIT_API void ll_delete_list(void *node);

/* Reverses the list starting at `head` by swapping `prev` and `next` of every
 * node, and returns the new head (the old tail). On a ring every node is
 * swapped once and the node before `head` is returned. Null for null. */
KELKIT_API void *ll_reverse_list(void *head);

/* Stable insertion sort in place, by `compare`; returns the new head. Each
 * node in turn moves back past every predecessor that it precedes (compare
 * negative) and stops at the first that it does not, so equal nodes keep
 * their order. `head` must be the head (its `prev` null) of a list with a
 * tail. Null head returns null; a null compare leaves the list as it is and
 * returns head. */
KELKIT_API void *ll_sort_list(void *head, ll_compare_fn compare);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_LIST_H */
