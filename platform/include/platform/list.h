#pragma once

/// Intrusive circular doubly linked lists. An empty list points to itself; a node that was never
/// linked, or was unlinked, holds null pointers. Lists link records, they never own memory.

#include <cstddef>

struct list_head {
    list_head* next;
    list_head* prev;
};

inline void listInit(list_head* list) {
    list->next = list;
    list->prev = list;
}

inline bool listEmpty(const list_head* list) {
    return list->next == list;
}

/// True for a node that stands in some list.
inline bool listLinked(const list_head* node) {
    return node->next != nullptr;
}

/// Links @p node right behind @p where (the list's head itself, or a node of it).
inline void listInsertAfter(list_head* where, list_head* node) {
    node->prev = where;
    node->next = where->next;
    where->next->prev = node;
    where->next = node;
}

inline void listAddTail(list_head* list, list_head* node) {
    listInsertAfter(list->prev, node);
}

/// Unlinks @p node; harmless on a node that stands in no list.
inline void listRemove(list_head* node) {
    if (!listLinked(node)) {
        return;
    }
    node->prev->next = node->next;
    node->next->prev = node->prev;
    node->next = nullptr;
    node->prev = nullptr;
}

/// Moves every node of @p from to the tail of @p to; @p from is empty afterwards.
inline void listSplice(list_head* from, list_head* to) {
    if (listEmpty(from)) {
        return;
    }
    from->next->prev = to->prev;
    to->prev->next = from->next;
    from->prev->next = to;
    to->prev = from->prev;
    listInit(from);
}

/// The record of type @p T whose member at byte @p Offset is @p node.
template <class T, std::size_t Offset> T* listRecord(list_head* node) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(node) - Offset);
}

/// A walk over a list for range-for. The current record may be unlinked by the loop's body; its
/// successor may not.
template <class T, std::size_t Offset> class ListRange {
  public:
    explicit ListRange(list_head* list) : m_list(list) {}

    class Iterator {
      public:
        explicit Iterator(list_head* node)
            : m_node(node), m_next(node != nullptr ? node->next : nullptr) {}
        T* operator*() const { return listRecord<T, Offset>(m_node); }
        Iterator& operator++() {
            m_node = m_next;
            m_next = m_node != nullptr ? m_node->next : nullptr;
            return *this;
        }
        bool operator!=(const Iterator& other) const {
            return m_node != other.m_node && m_node != nullptr;
        }

      private:
        list_head* m_node;
        list_head* m_next;
    };

    Iterator begin() const { return Iterator(m_list->next); }
    Iterator end() const { return Iterator(m_list); }

  private:
    list_head* m_list;
};

/// Inserts @p node into a list kept ascending by @p key: behind the last record whose key is
/// smaller, found from the tail; at the head if none is. A record of equal key comes after it.
template <class T, std::size_t Offset, class Key>
void listInsertSorted(list_head* list, list_head* node, Key key) {
    const auto own = key(listRecord<T, Offset>(node));
    list_head* where = list->prev;
    while (where != list && !(key(listRecord<T, Offset>(where)) < own)) {
        where = where->prev;
    }
    listInsertAfter(where, node);
}
