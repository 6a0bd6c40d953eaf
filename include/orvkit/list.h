// DcNode and DcList: the one container of the library. Nodes are the objects themselves (buffers, elements,
// directory records); a list links them, may keep them sorted, and owns them: destroying a list deletes
// every node in it.
#ifndef ORVKIT_LIST_H
#define ORVKIT_LIST_H

#include "orvkit/export.h"

class DcList;

namespace orvkit {
struct NodeLinks;
}

// A node is in one list at most; its links mean something only while it is in one.
//
// Copies take over the links and the node information but are members of no list. A node that is assigned to
// stays in its list, whose links then run on into the source's list.
class ORVKIT_API DcNode {
  public:
    // `nodeInfo` is opaque and stays the caller's.
    DcNode(void* nodeInfo = nullptr) noexcept : info_(nodeInfo) {}
    DcNode(const DcNode& other) noexcept
        : previous_(other.previous_), next_(other.next_), info_(other.info_) {}
    DcNode& operator=(const DcNode& other) noexcept;

    // The only virtual operation.
    virtual ~DcNode();

    void* getNodeInfo() const noexcept { return info_; }
    DcNode* next() const noexcept { return next_; }
    DcNode* previous() const noexcept { return previous_; }

    // For the library's own use: the list that linked the node, or null.
    DcList* list() const noexcept { return list_; }

  private:
    friend class DcList;
    friend struct orvkit::NodeLinks;
    DcNode* previous_ = nullptr;
    DcNode* next_ = nullptr;
    void* info_;
    DcList* list_ = nullptr;
};

// Copies are member-wise: a copied list shares its nodes with its source, and only one of the two may be
// destroyed or changed.
//
// None of the operations logs, printNodeList apart: misuse gives null, -1 or no effect.
class ORVKIT_API DcList {
  public:
    // The comparison gets two nodes (DcNode*) and gives a negative value, zero or a positive value as the
    // first one sorts before, equal to or after the second. Null: the list is not sorted.
    DcList(int (*compare)(void*, void*) = nullptr) noexcept : compare_(compare), count_(0), shared_(0) {}
    DcList(const DcList& other) noexcept;
    DcList& operator=(const DcList& other) noexcept;

    // The only virtual operation: deletes all nodes.
    virtual ~DcList();

    int (*getCompFunc() const noexcept)(void*, void*) { return compare_; }
    // Does not sort again.
    void setCompFunc(int (*compare)(void*, void*)) noexcept { compare_ = compare; }

    DcNode* first() const noexcept { return first_; }
    DcNode* last() const noexcept { return last_; }

    // Inserts at the node's place in the order, or at the end of an unsorted list; a node that is already in
    // the list stays where it is. Among equal keys, one equal to the last goes behind it and one equal to the
    // first in front of it; elsewhere no order among equals is promised. Constant time at both ends,
    // otherwise a logarithmic number of comparisons and a linear number of steps.
    // Returns the node; null for a null node.
    DcNode* add(DcNode* node);
    // Inserts in front of `position`. A null position appends, without a check whether the node is in the
    // list already. An empty list takes the node whatever the position is; otherwise nothing changes when
    // the position is not in the list or the node already is. Returns the node; null for a null node.
    DcNode* add(DcNode* position, DcNode* node);
    // Takes a node out without deleting it, in constant time. Returns the node that followed it; null also
    // when it was not in the list. A cursor on the node stays where it is.
    DcNode* subtract(DcNode* node);
    // add and subtract on this list, which is returned.
    DcList& operator+(DcNode* node);
    DcList& operator-(DcNode* node);

    int count() const noexcept;
    // The position of a node, from 0, in linear time; -1 (at once) when it is not in the list.
    int index(const DcNode* node) const noexcept;

    // Sorts with the list's own comparison, or once with another one. Without a comparison nothing happens.
    void sort();
    void sort(int (*compare)(void*, void*));
    void reverse();

    // A position that the owner remembers. setCursor ignores a node that is not in the list.
    DcNode* getCursor() const noexcept { return cursor_; }
    void resetCursor() noexcept { cursor_ = first_; }
    void setCursor(DcNode* node) noexcept;

    void destroyAllNodes();

    // Writes the addresses of the list and its nodes to a file opened in a mode of fopen. LIST_PRINT (logged
    // at LOG_VALIDATION) for a null argument or a file that cannot be opened.
    int printNodeList(const char* fileName, const char* mode);

  protected:
    // For the library's own lists.

    // Changes with every change of membership or order made through this list.
    unsigned int version() const noexcept { return version_; }
    void touch() noexcept { ++version_; }
    // Whether the list has been copied or is a copy: then nodes may come and go without a change of version.
    bool isShared() const noexcept { return shared_ != 0; }
    bool holds(const DcNode* node) const noexcept;
    // Links a node that is in no list in front of `position`, a member (null: at the end), unchecked.
    void linkBefore(DcNode* position, DcNode* node) noexcept;
    // Unlinks a member, unchecked.
    void unlink(DcNode* node) noexcept;

  private:
    friend class DcNode;
    friend struct orvkit::NodeLinks;
    DcNode* placeFor(DcNode* node) const;

    int (*compare_)(void*, void*);
    DcNode* first_ = nullptr;
    DcNode* last_ = nullptr;
    DcNode* cursor_ = nullptr;
    unsigned int version_ = 0;
    unsigned int count_ : 31;
    mutable unsigned int shared_ : 1;
};

#endif
