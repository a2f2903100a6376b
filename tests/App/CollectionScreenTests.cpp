// The card screen keeps its cards across reloads: a model of the same shape is bound to the
// widgets already there, a card whose shape changed is made again alone, and new sections make
// the whole content again.
#include "Collection/Card.h"
#include "Collection/CollectionScreen.h"
#include "Theme/ThemeManager.h"

#include <QApplication>
#include <QLabel>
#include <QLayout>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::gui;

namespace {

struct Rows {
    std::string title;
    std::vector<std::string> values;
    bool barFirst = false;
};

void draw(CardContent& c, const Rows& m)
{
    if (m.barFirst)
        c.bar({{0.5, Qt::red}});
    else
        c.text(QString::fromStdString(m.title), {Role::sectionTitle});
    for (const auto& value : m.values) {
        c.beginRow();
        c.dot(Qt::blue);
        c.text(QString::fromStdString(value), {Role::note});
        c.end();
    }
}

class Provider : public CollectionEntitiesProvider {
public:
    std::vector<CollectionViewSection> current;
    std::vector<CollectionViewSection> sections() override { return current; }
};

template <class Model>
CollectionViewCellModel item(const std::string& id, Model model)
{
    return CollectionViewCellModel::make(id, std::move(model));
}

CollectionViewSection masonry(std::vector<CollectionViewCellModel> items)
{
    CollectionViewSection section;
    section.identifier = "cards";
    section.sectionLayout = CollectionViewSection::Layout::masonry;
    section.items = std::move(items);
    return section;
}

CellRenderers renderers()
{
    CellRenderers all;
    addCard(all, draw);
    all.add<std::string>([](const CollectionViewCellModel& m) -> QWidget* {
        return new QLabel(QString::fromStdString(*m.as<std::string>()));
    });
    return all;
}

QStringList texts(QWidget* cell)
{
    QStringList all;
    for (auto* label : cell->findChildren<QLabel*>())
        all << label->text();
    return all;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

TEST(CollectionScreen, CardsAreBoundInPlaceAndRemadeOnlyWhenTheirShapeChanges)
{
    auto provider = std::make_shared<Provider>();
    provider->current = {masonry({item("a", Rows{"CPU", {"1 %", "2 %"}}), item("b", Rows{"RAM", {"3 GB"}}),
                                  item("c", std::string("plain"))})};
    CollectionScreen screen(provider, renderers());
    screen.resize(800, 600);
    screen.show();
    ASSERT_EQ(screen.rebuildCount(), 1);
    QWidget* a = screen.cell("a");
    QWidget* b = screen.cell("b");
    QWidget* c = screen.cell("c");
    ASSERT_TRUE(a && b && c);
    const int aColumn = a->x();

    // New values, same shape: the same widgets show them; the plain cell cannot bind and is remade.
    provider->current = {masonry({item("a", Rows{"CPU", {"5 %", "6 %"}}), item("b", Rows{"RAM", {"4 GB"}}),
                                  item("c", std::string("again"))})};
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 1);
    EXPECT_EQ(screen.cell("a"), a);
    EXPECT_EQ(screen.cell("b"), b);
    EXPECT_EQ(texts(a), (QStringList{"CPU", "5 %", "6 %"}));
    EXPECT_EQ(texts(b), (QStringList{"RAM", "4 GB"}));
    EXPECT_NE(screen.cell("c"), c);
    EXPECT_EQ(static_cast<QLabel*>(screen.cell("c"))->text(), "again");
    EXPECT_EQ(screen.replacedCellCount(), 1);

    // A row more in one card: that card alone is made again, in the same column.
    provider->current[0].items[0] = item("a", Rows{"CPU", {"7 %", "8 %", "9 %"}});
    provider->reload();
    QCoreApplication::processEvents();
    EXPECT_EQ(screen.rebuildCount(), 1);
    EXPECT_EQ(screen.replacedCellCount(), 3);
    EXPECT_NE(screen.cell("a"), a);
    EXPECT_EQ(screen.cell("b"), b);
    EXPECT_EQ(texts(screen.cell("a")), (QStringList{"CPU", "7 %", "8 %", "9 %"}));
    screen.cell("a")->parentWidget()->layout()->activate();
    EXPECT_EQ(screen.cell("a")->x(), aColumn);

    // The same number of leaves in another order fails the bind too.
    provider->current[0].items[1] = item("b", Rows{"RAM", {"4 GB"}, true});
    provider->reload();
    EXPECT_NE(screen.cell("b"), b);
    EXPECT_EQ(screen.replacedCellCount(), 5);

    // A card asked to bind a model of another type refuses rather than misreads it; on the
    // screen, another type in the same place is another shape: the whole content again.
    auto* card = dynamic_cast<BindableCell*>(screen.cell("b"));
    ASSERT_TRUE(card);
    EXPECT_FALSE(card->bind(item("b", std::string("not rows"))));
    provider->current[0].items[1] = item("b", std::string("not rows"));
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 2);
    EXPECT_EQ(static_cast<QLabel*>(screen.cell("b"))->text(), "not rows");

    // Fresh identifiers at every build, as the Dashboard gives its cards, keep the cells: they
    // are matched by place and kind, and found by their new identifiers.
    provider->current[0].items[1] = item("b", Rows{"RAM", {"4 GB"}});
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 3);
    provider->current[0].items[1] = item("b2", Rows{"RAM", {"5 GB"}});
    const int replaced = screen.replacedCellCount();
    QWidget* b2 = screen.cell("b");
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 3);
    EXPECT_EQ(screen.cell("b2"), b2);
    EXPECT_EQ(screen.cell("b"), nullptr);
    EXPECT_EQ(texts(b2), (QStringList{"RAM", "5 GB"}));
    EXPECT_EQ(screen.replacedCellCount(), replaced + 1) << "the plain cell only";

    // A model no view is registered for shows which cell it is.
    provider->current[0].items[2] = item("c", 42);
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 4);
    EXPECT_EQ(static_cast<QLabel*>(screen.cell("c"))->text(), "No view for the cell \"c\"");
    provider->current[0].items[2] = item("c", std::string("plain"));
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 5);

    // An item more, or other kinds of cell in the same places: the whole content again.
    provider->current[0].items.push_back(item("d", Rows{"GPU", {}}));
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 6);
    std::swap(provider->current[0].items[1], provider->current[0].items[2]);
    provider->reload();
    EXPECT_EQ(screen.rebuildCount(), 7);
    EXPECT_EQ(texts(screen.cell("d")), (QStringList{"GPU"}));
    EXPECT_EQ(texts(screen.cell("b2")), (QStringList{"RAM", "5 GB"}));
}

TEST(CollectionScreen, RolesFollowTheThemeWithoutAnApplicationStyleSheet)
{
    TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    auto provider = std::make_shared<Provider>();
    provider->current = {masonry({item("a", Rows{"CPU", {"1 %"}})})};
    CollectionScreen screen(provider, renderers());
    screen.show();
    auto labels = screen.cell("a")->findChildren<QLabel*>();
    ASSERT_EQ(labels.size(), 2);
    QLabel* note = labels[1];
    EXPECT_TRUE(qApp->styleSheet().isEmpty());
    EXPECT_EQ(note->palette().color(QPalette::WindowText), Appearance::light().secondaryText);
    EXPECT_EQ(labels[0]->font().weight(), QFont::DemiBold);

    TarnelThemeManager::shared().setTheme(quendal::Theme::dark);
    EXPECT_EQ(note->palette().color(QPalette::WindowText), Appearance::darkAppearance().secondaryText);
    EXPECT_EQ(labels[0]->palette().color(QPalette::WindowText), Appearance::darkAppearance().text);
    EXPECT_TRUE(qApp->styleSheet().isEmpty());
    TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}
