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

std::vector<DcNode*> nodesOf(DcList& list) {
    std::vector<DcNode*> forward, backward;
    for (DcNode* n = list.first(); n != nullptr; n = n->next()) forward.push_back(n);
    for (DcNode* n = list.last(); n != nullptr; n = n->previous()) backward.push_back(n);
    EXPECT_TRUE(std::equal(forward.begin(), forward.end(), backward.rbegin(), backward.rend()));
    EXPECT_EQ(list.count(), static_cast<int>(forward.size()));
    for (std::size_t i = 0; i < forward.size(); ++i) EXPECT_EQ(list.index(forward[i]), static_cast<int>(i));
    return forward;
}

void empty(DcList& list) {
    while (list.last() != nullptr) list.subtract(list.last());
}

}  // namespace

// Few keys, so that most are equal to others.
TEST(List, KeepsItsOrderUnderRandomOperations) {
    std::mt19937 random(7);
    const auto pick = [&](std::size_t n) { return random() % n; };
    const auto before = [](Compare compare) {
        return [compare](DcNode* a, DcNode* b) { return compare(a, b) < 0; };
    };
    for (int round = 0; round < 60; ++round) {
        const Compare compare = round % 2 == 0 ? ascending : descending;
        DcList list(compare);
        std::vector<Node> all;
        for (int i = 0; i < 40; ++i) all.emplace_back(static_cast<int>(pick(12)));
        std::vector<DcNode*> held;
        for (int step = 0; step < 150; ++step) {
            DcNode* const node = &all[pick(40)];
            const auto at = std::find(held.begin(), held.end(), node);
            if (at == held.end() || pick(3) == 0) {  // one that is there stays where it is
                ASSERT_EQ(list.add(node), node);
                if (at == held.end()) held.push_back(node);
            } else {
                const int place = list.index(node);
                DcNode* const next = node->next();
                ASSERT_EQ(list.subtract(node), next);
                ASSERT_EQ(list.index(node), -1);
                ASSERT_TRUE(next == nullptr || list.index(next) == place);
                held.erase(at);
            }
            std::vector<DcNode*> nodes = nodesOf(list);
            ASSERT_TRUE(std::is_sorted(nodes.begin(), nodes.end(), before(compare)));
            ASSERT_TRUE(std::is_permutation(nodes.begin(), nodes.end(), held.begin(), held.end()));
        }
        list.sort(nullptr);
        const Compare other = round % 2 == 0 ? descending : ascending;
        list.sort(other);
        const std::vector<DcNode*> nodes = nodesOf(list);
        EXPECT_TRUE(std::is_sorted(nodes.begin(), nodes.end(), before(other)));
        EXPECT_EQ(nodes.size(), held.size());
        empty(list);
    }
}

TEST(List, PutsNodesWhereItIsTold) {
    Node a(1), b(2), c(3), stranger(4), other(5);
    DcList list;
    list + &a + &c;
    EXPECT_EQ(list.add(&c, &b), &b);
    EXPECT_EQ(nodesOf(list), (std::vector<DcNode*>{&a, &b, &c}));
    EXPECT_EQ(list.add(&stranger, &b), &b);  // no place there,
    EXPECT_EQ(list.add(&a, &c), &c);         // one that is there stays where it is,
    EXPECT_EQ(list.add(&stranger, &other), &other);
    EXPECT_EQ(nodesOf(list), (std::vector<DcNode*>{&a, &b, &c}));
    list.setCursor(&b);
    list.setCursor(&stranger);
    EXPECT_EQ(list.getCursor(), &b);
    EXPECT_EQ(list.subtract(&stranger), nullptr);
    EXPECT_EQ(list.count(), 3);
    empty(list);
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
