#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "db/element.h"

using namespace QZ::DB;

namespace {

// An element bound through the template, carrying a value its copy must keep.
class Source_element : public Element<Source_element, _Src> {
public:
    explicit Source_element(int payload = 0) : payload(payload) {}
    void serialize(QZ::SERIAL::Serializer&) const override {}
    void deserialize(QZ::SERIAL::Deserializer&) override {}
    int payload;
    double padding[4] = {};
};

// An element written straight on the base, to see the defaults.
class Bare_element : public Element_base {
public:
    Class_id get_class_id() const override { return 0x1234; }
    void serialize(QZ::SERIAL::Serializer&) const override {}
    void deserialize(QZ::SERIAL::Deserializer&) override {}
    Element_base* copy() const override { return new Bare_element; }
};

}  // namespace

TEST(TypesElement, ClassIdsAreFourCharacterConstants)
{
    EXPECT_EQ(_Dcl, 0x5F44636Cu);
    EXPECT_EQ(_Src, 0x5F537263u);
    EXPECT_EQ(_CoU, 0x5F436F55u);
    EXPECT_EQ(_BNT, 0x5F424E54u);
    EXPECT_EQ(_EnT, 0x5F456E54u);
    EXPECT_EQ(NAMED_TYPE_CLASS_ID, 0x92837174u);
}

TEST(TypesElement, TemplateBindsIdSizeAndCopy)
{
    Source_element element(17);
    EXPECT_EQ(element.get_class_id(), _Src);
    EXPECT_TRUE(element.is_type_of(0));
    EXPECT_TRUE(element.is_type_of(_Src));
    EXPECT_FALSE(element.is_type_of(_Dcl));
    EXPECT_FALSE(element.is_type_of(_CoU));
    EXPECT_EQ(element.get_size(), sizeof(Source_element));

    std::unique_ptr<Element_base> copy(element.copy());
    auto* typed = dynamic_cast<Source_element*>(copy.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_NE(typed, &element);
    EXPECT_EQ(typed->payload, 17);
}

TEST(TypesElement, BaseDefaults)
{
    Bare_element element;
    EXPECT_TRUE(element.is_type_of(0));
    EXPECT_FALSE(element.is_type_of(0x1234));  // the base answers only 0
    EXPECT_EQ(element.get_size(), 0u);
    EXPECT_EQ(element.get_flag(), 0u);
    std::set<Tag> references{1, 2, 3};
    element.get_references(references);
    EXPECT_TRUE(references.empty());
    element.on_store();
    element.dump();
}
