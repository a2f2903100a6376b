#pragma once

#include <functional>
#include <memory>
#include <string>
#include <typeindex>
#include <utility>

namespace quendal {

// A route of any hashable type, compared by type and value. Route types give a
// `describe(route)` found by argument-dependent lookup, used in logs.
class AnyRoute {
public:
    template <class Route>
    AnyRoute(Route route) // NOLINT: routes convert implicitly, as values of a sum type would
        : type_(typeid(Route)), model_(std::make_shared<Model<Route>>(std::move(route)))
    {
    }

    std::type_index type() const { return type_; }
    std::string description() const { return model_->description(); }
    std::size_t hash() const { return model_->hash() ^ type_.hash_code(); }

    template <class Route>
    const Route* as() const
    {
        if (type_ != typeid(Route))
            return nullptr;
        return &static_cast<const Model<Route>*>(model_.get())->route;
    }

    friend bool operator==(const AnyRoute& a, const AnyRoute& b)
    {
        return a.type_ == b.type_ && a.model_->equals(*b.model_);
    }

private:
    struct Concept {
        virtual ~Concept() = default;
        virtual bool equals(const Concept& other) const = 0;
        virtual std::string description() const = 0;
        virtual std::size_t hash() const = 0;
    };
    template <class Route>
    struct Model final : Concept {
        explicit Model(Route r) : route(std::move(r)) {}
        bool equals(const Concept& other) const override { return route == static_cast<const Model&>(other).route; }
        std::string description() const override { return describe(route); }
        std::size_t hash() const override { return std::hash<Route>{}(route); }
        Route route;
    };

    std::type_index type_;
    std::shared_ptr<const Concept> model_;
};

} // namespace quendal

template <>
struct std::hash<quendal::AnyRoute> {
    std::size_t operator()(const quendal::AnyRoute& route) const { return route.hash(); }
};
