// Helpers of the graph tests: classes from source text, and an observer that records its calls.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "graph/graph_observer.h"
#include "graph/node_class.h"

namespace graph_test {

// The holder of a unit compiled from text; the test fails when the text or the unit has errors.
std::shared_ptr<QZ::GRAPH::Compiled_source> compile_source(const std::string& text,
                                                            const std::string& file_path = std::string());

// Each call as one line: "added Class 0 name", "attached node 0 path", ...
class Recorder : public QZ::GRAPH::Graph_observer {
public:
    std::vector<std::string> calls;

    void value_changed(QZ::GRAPH::Graph_node* node, uint32_t is_output, const char* parameter) override;
    void attached(QZ::GRAPH::Graph_node* node, uint32_t is_output, const char* path, const char* member) override;
    void detached(QZ::GRAPH::Graph_node* node, uint32_t is_output, const char* parameter, const char* member) override;
    void parameter_added(QZ::GRAPH::Graph_node_class* node_class, bool is_output, const char* name) override;
    void parameter_removed(QZ::GRAPH::Graph_node_class* node_class, bool is_output, const char* name) override;
    void node_created(QZ::GRAPH::Graph_node_class* node_class, QZ::GRAPH::Graph_node* node) override;
    void compound_node_added(QZ::GRAPH::Compage_node_class* compound, QZ::GRAPH::Graph_node* node) override;
};

}  // namespace graph_test
