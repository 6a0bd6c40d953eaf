#include "orvkit/list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

struct Node : DcNode {
    explicit Node(int k, int* deleted = nullptr) : DcNode(this), key(k), deletions(deleted) {}
    ~Node() override {
        if (deletions != nullptr) ++*deletions;
    }
    int key;
    int* deletions;
};

int keyOf(void* node) {
    return static_cast<Node*>(static_cast<DcNode*>(node))->key;
}
int ascending(void* a, void* b) {
    return keyOf(a) - keyOf(b);
}
int descending(void* a, void* b) {
    return keyOf(b) - keyOf(a);
}

using Compare = int (*)(void*, void*);

// The same container without links: what DcList must look like after each operation.
struct Model {
    std::vector<DcNode*> nodes;
    DcNode* cursor = nullptr;
    Compare compare = nullptr;

    int index(const DcNode* n) const {
        const auto found = std::find(nodes.begin(), nodes.end(), n);
        return found == nodes.end() ? -1 : static_cast<int>(found - nodes.begin());
    }
    bool holds(const DcNode* n) const { return index(n) != -1; }
    void insert(std::size_t at, DcNode* n) {
        nodes.insert(nodes.begin() + static_cast<std::ptrdiff_t>(at), n);
    }
    void add(DcNode* n) {
        if (holds(n)) return;
        if (nodes.empty() || compare == nullptr || compare(nodes.back(), n) <= 0) return nodes.push_back(n);
        if (compare(nodes.front(), n) >= 0) return insert(0, n);
        std::size_t low = 0, high = nodes.size() - 1;
        for (;;) {
            // Neighbours meet at the lower one, an even number between two ends at the upper middle.
            const std::size_t mid = high - low < 2 ? low : low + (high - low + 1) / 2;
            const int r = compare(nodes[mid], n);
            if (r == 0 || mid == (r > 0 ? high : low)) return insert(mid + 1, n);
            (r > 0 ? high : low) = mid;
        }
    }
    void add(DcNode* position, DcNode* n) {
        if (nodes.empty() || position == nullptr) return nodes.push_back(n);
        if (holds(position) && !holds(n)) insert(static_cast<std::size_t>(index(position)), n);
    }
    DcNode* subtract(DcNode* n) {
        if (!holds(n)) return nullptr;
        const auto next = nodes.erase(nodes.begin() + index(n));
        return next == nodes.end() ? nullptr : *next;
    }
    void sort(Compare with) {
        if (with == nullptr) return;
        const Compare own = std::exchange(compare, with);
        for (DcNode* n : std::exchange(nodes, {})) add(n);
        compare = own;
    }
};

void expectSame(DcList& list, const Model& model, std::vector<Node>& all) {
    std::vector<DcNode*> forward, backward;
    for (DcNode* n = list.first(); n != nullptr; n = n->next()) forward.push_back(n);
    for (DcNode* n = list.last(); n != nullptr; n = n->previous()) backward.push_back(n);
    std::reverse(backward.begin(), backward.end());
    ASSERT_EQ(forward, model.nodes);
    ASSERT_EQ(backward, model.nodes);
    ASSERT_EQ(list.count(), static_cast<int>(model.nodes.size()));
    ASSERT_EQ(list.getCursor(), model.cursor);
    for (Node& n : all) ASSERT_EQ(list.index(&n), model.index(&n));
}

void empty(DcList& list) {
    while (list.last() != nullptr) list.subtract(list.last());
}

}  // namespace

// Few keys, so that most are equal to others, and nodes that are in no list or in a second one.
TEST(List, BehavesLikeTheModelUnderRandomOperations) {
    std::mt19937 random(7);
    const auto pick = [&](std::size_t n) { return random() % n; };
    for (int round = 0; round < 60; ++round) {
        const std::vector<Compare> compares{nullptr, ascending, descending};
        const Compare compare = compares[pick(3)];
        DcList list(compare);
        Model model;
        model.compare = compare;
        std::vector<Node> all;
        for (int i = 0; i < 40; ++i) all.emplace_back(static_cast<int>(pick(12)));
        for (int step = 0; step < 150; ++step) {
            DcNode* const node = &all[1 + pick(39)];
            DcNode* const second = &all[pick(40)];
            switch (pick(8)) {
                case 0:
                    ASSERT_EQ(list.add(second, node), node);
                    model.add(second, node);
                    break;
                case 1:
                    ASSERT_EQ(list.subtract(second), model.subtract(second));
                    break;
                case 2:
                    list.setCursor(second);
                    if (model.holds(second)) model.cursor = second;
                    break;
                case 3: {
                    const Compare with = compares[pick(3)];
                    list.sort(with);
                    model.sort(with);
                    break;
                }
                case 4:
                    // Appending does not look whether the node is there already.
                    if (model.holds(node)) break;
                    ASSERT_EQ(list.add(static_cast<DcNode*>(nullptr), node), node);
                    model.add(nullptr, node);
                    break;
                default:
                    ASSERT_EQ(list.add(node), node);
                    model.add(node);
            }
            ASSERT_NO_FATAL_FAILURE(expectSame(list, model, all)) << "round " << round << " step " << step;
        }
        empty(list);
    }
}

TEST(List, CopiesShareTheirNodes) {
    Node a(1), b(2), c(3);
    DcList list(ascending);
    list + &c + &a;
    DcList copy(list), assigned;
    assigned = list;
    for (DcList* l : {&list, &copy, &assigned}) {
        EXPECT_EQ(l->count(), 2);
        EXPECT_EQ(l->index(&c), 1);
    }
    // One list links a node between shared ones: all of them see it, and each may take it out again.
    EXPECT_EQ(copy.add(&b), &b);
    EXPECT_EQ(list.index(&b), 1);
    EXPECT_EQ(list.count(), 3);
    EXPECT_EQ(assigned.subtract(&b), &c);
    EXPECT_EQ(copy.index(&b), -1);

    empty(list);
    copy = assigned = list;  // all empty now: nothing is left to delete
}

TEST(List, DeletesItsNodesThroughTheirOwnClass) {
    int deleted = 0;
    {
        DcList list;
        for (int i = 0; i < 200000; ++i) list.add(new Node(i, &deleted));
    }
    EXPECT_EQ(deleted, 200000);
}
