#include "support/renumber.h"

#include <algorithm>
#include <limits>
#include <span>

namespace tarnel_bench
{

// Neighbours of every node, each list ascending.
struct node_graph {
    std::vector<std::size_t> start; // the neighbours of node i are next[start[i]] .. next[start[i + 1] - 1]
    std::vector<std::uint32_t> next;
};

static std::size_t degree(const node_graph& graph, std::size_t node)
{
    return graph.start[node + 1] - graph.start[node];
}

static std::span<const std::uint32_t> neighbours(const node_graph& graph, std::size_t node)
{
    return std::span(graph.next).subspan(graph.start[node], degree(graph, node));
}

static node_graph neighbours_in(const mesh& of)
{
    const std::size_t n = of.nodes.size();
    std::vector<std::size_t> start(n + 1, 0); // with an inner edge counted once from each side
    for (const triangle& t : of.triangles)
        for (const std::uint32_t node : t.node) start[node + 1] += 2;
    for (std::size_t i = 0; i < n; ++i) start[i + 1] += start[i];
    std::vector<std::uint32_t> twice(start[n]);
    std::vector<std::size_t> filled(start.begin(), start.end() - 1);
    for (const triangle& t : of.triangles)
        for (std::size_t a = 0; a < 3; ++a)
            for (std::size_t b = 0; b < 3; ++b)
                if (a != b) twice[filled[t.node[a]]++] = t.node[b];

    node_graph graph;
    graph.start.reserve(n + 1);
    graph.start.push_back(0);
    graph.next.reserve(twice.size() / 2 + n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto row = std::span(twice).subspan(start[i], start[i + 1] - start[i]);
        std::sort(row.begin(), row.end());
        graph.next.insert(graph.next.end(), row.begin(), std::unique(row.begin(), row.end()));
        graph.start.push_back(graph.next.size());
    }
    return graph;
}

// Appends the nodes that can be reached from `first`, breadth first; `place` marks them from now on.
//   returns the number of levels and where in `order` the last of them begins
struct levels {
    std::size_t count, last;
};
static levels append_breadth_first(const node_graph& graph, std::uint32_t first, std::vector<bool>& place,
                                   std::vector<std::uint32_t>& order)
{
    std::size_t at = order.size();
    order.push_back(first);
    place[first] = true;
    levels seen = {0, at};
    while (at < order.size()) {
        seen = {seen.count + 1, at};
        for (const std::size_t level_end = order.size(); at < level_end; ++at) {
            const std::size_t from = order.size();
            for (const std::uint32_t next : neighbours(graph, order[at])) {
                if (place[next]) continue;
                place[next] = true;
                order.push_back(next);
            }
            std::stable_sort(
                order.begin() + static_cast<std::ptrdiff_t>(from), order.end(),
                [&graph](std::uint32_t a, std::uint32_t b) { return degree(graph, a) < degree(graph, b); });
        }
    }
    return seen;
}

// A node from which the graph is about as deep as it can be.
static std::uint32_t node_at_the_rim(const node_graph& graph, std::uint32_t start)
{
    const auto fewer = [&graph](std::uint32_t a, std::uint32_t b) { return degree(graph, a) < degree(graph, b); };
    std::vector<bool> place(graph.start.size() - 1);
    std::vector<std::uint32_t> order;
    std::size_t deepest = 0;
    for (;;) {
        std::fill(place.begin(), place.end(), false);
        order.clear();
        const levels seen = append_breadth_first(graph, start, place, order);
        if (seen.count <= deepest) return start;
        deepest = seen.count;
        start = *std::min_element(order.begin() + static_cast<std::ptrdiff_t>(seen.last), order.end(), fewer);
    }
}

void renumber_nodes(mesh& of)
{
    const node_graph graph = neighbours_in(of);
    const std::size_t n = of.nodes.size();
    std::vector<bool> place(n);
    std::vector<std::uint32_t> order;
    order.reserve(n);
    for (std::uint32_t i = 0; i < n; ++i)
        if (!place[i]) append_breadth_first(graph, node_at_the_rim(graph, i), place, order);
    std::reverse(order.begin(), order.end());

    std::vector<std::uint32_t> number(n);
    std::vector<point> nodes(n);
    for (std::uint32_t k = 0; k < n; ++k) {
        number[order[k]] = k;
        nodes[k] = of.nodes[order[k]];
    }
    of.nodes = std::move(nodes);
    for (triangle& t : of.triangles)
        for (std::uint32_t& node : t.node) node = number[node];
    for (std::uint32_t& node : of.border) node = number[node];
    std::sort(of.border.begin(), of.border.end());
}

std::size_t longest_row(const mesh& of)
{
    const node_graph graph = neighbours_in(of);
    std::size_t most = 0;
    for (std::size_t i = 0; i < of.nodes.size(); ++i) most = std::max(most, degree(graph, i));
    return most + 1;
}

} // namespace tarnel_bench
