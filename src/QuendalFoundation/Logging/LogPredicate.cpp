#include "QuendalFoundation/Logging/LogPredicate.h"

#include <fmt/format.h>

#include <cctype>
#include <vector>

namespace quendal {

struct LogPredicate::Node {
    enum class Kind { all, equals, beginsWith, anyOf, allOf } kind = Kind::all;
    std::string field;
    std::string value;
    std::vector<std::shared_ptr<const Node>> children;
};

namespace {

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    std::shared_ptr<const LogPredicate::Node> parseAll()
    {
        auto node = parseOr();
        skipSpace();
        if (position_ != text_.size())
            fail("unexpected text");
        return node;
    }

private:
    using Node = LogPredicate::Node;

    [[noreturn]] void fail(const char* what) const
    {
        throw PredicateSyntaxError(fmt::format("log predicate: {} at offset {} of \"{}\"", what, position_, text_));
    }

    void skipSpace()
    {
        while (position_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[position_])))
            ++position_;
    }

    bool keyword(std::string_view word)
    {
        skipSpace();
        if (text_.substr(position_, word.size()) != word)
            return false;
        auto end = position_ + word.size();
        if (end < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[end])) || text_[end] == '_'))
            return false;
        position_ = end;
        return true;
    }

    std::shared_ptr<const Node> parseOr()
    {
        auto first = parseAnd();
        std::vector<std::shared_ptr<const Node>> terms{first};
        while (keyword("OR") || keyword("||"))
            terms.push_back(parseAnd());
        if (terms.size() == 1)
            return first;
        auto node = std::make_shared<Node>();
        node->kind = Node::Kind::anyOf;
        node->children = std::move(terms);
        return node;
    }

    std::shared_ptr<const Node> parseAnd()
    {
        auto first = parseTerm();
        std::vector<std::shared_ptr<const Node>> terms{first};
        while (keyword("AND") || keyword("&&"))
            terms.push_back(parseTerm());
        if (terms.size() == 1)
            return first;
        auto node = std::make_shared<Node>();
        node->kind = Node::Kind::allOf;
        node->children = std::move(terms);
        return node;
    }

    std::shared_ptr<const Node> parseTerm()
    {
        skipSpace();
        if (position_ < text_.size() && text_[position_] == '(') {
            ++position_;
            auto inner = parseOr();
            skipSpace();
            if (position_ >= text_.size() || text_[position_] != ')')
                fail("a parenthesis is not closed");
            ++position_;
            return inner;
        }
        auto node = std::make_shared<Node>();
        if (keyword("eventType")) {
            if (!keyword("==") || !keyword("logEvent"))
                fail("expected \"eventType == logEvent\"");
            return node;
        }
        for (auto field : {"subsystem", "process", "category"}) {
            if (keyword(field)) {
                node->field = field;
                break;
            }
        }
        if (node->field.empty())
            fail("expected subsystem, process or category");
        if (keyword("=="))
            node->kind = Node::Kind::equals;
        else if (keyword("BEGINSWITH"))
            node->kind = Node::Kind::beginsWith;
        else
            fail("expected == or BEGINSWITH");
        node->value = quoted();
        return node;
    }

    std::string quoted()
    {
        skipSpace();
        if (position_ >= text_.size() || text_[position_] != '"')
            fail("expected a quoted value");
        ++position_;
        std::string value;
        while (position_ < text_.size() && text_[position_] != '"') {
            if (text_[position_] == '\\') {
                if (++position_ >= text_.size())
                    fail("a backslash ends the text");
            }
            value.push_back(text_[position_++]);
        }
        if (position_ >= text_.size())
            fail("a quoted value is not closed");
        ++position_;
        return value;
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

bool evaluate(const LogPredicate::Node& node, const LogRecord& record)
{
    using Kind = LogPredicate::Node::Kind;
    auto fieldOf = [&](const std::string& name) -> const std::string& {
        if (name == "subsystem")
            return record.subsystem;
        if (name == "process")
            return record.process;
        return record.category;
    };
    switch (node.kind) {
    case Kind::all:
        return true;
    case Kind::equals:
        return fieldOf(node.field) == node.value;
    case Kind::beginsWith:
        return fieldOf(node.field).starts_with(node.value);
    case Kind::anyOf:
        for (const auto& c : node.children)
            if (evaluate(*c, record))
                return true;
        return false;
    case Kind::allOf:
        for (const auto& c : node.children)
            if (!evaluate(*c, record))
                return false;
        return true;
    }
    return false;
}

} // namespace

LogPredicate LogPredicate::parse(std::string_view text) { return LogPredicate(Parser(text).parseAll()); }

bool LogPredicate::matches(const LogRecord& record) const { return evaluate(*root_, record); }

} // namespace quendal
