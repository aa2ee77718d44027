#pragma once

#include <typeinfo>
#include <vector>

#include "Tests/Support/CMockSurfelCollection.h"

namespace DataLayerTest
{

/// A collection of another maker, with positions and normals in two arrays of their own.
class CForeignCollection : public TestSupport::CMockSurfelCollection
{
public:
    CForeignCollection(const std::vector<LqVector3f>& positions, std::vector<LqVector3f> normals)
        : CMockSurfelCollection(positions),
          m_normals(std::move(normals)),
          m_normalAccess(m_normals.data(), sizeof(LqVector3f))
    {}

    [[nodiscard]] bool HasNormals() const override { return true; }

protected:
    [[nodiscard]] const Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) const override
    {
        return definition == typeid(Base::CSCElementDefinitionNormal)
                   ? &m_normalAccess
                   : CMockSurfelCollection::getElementAccess(definition);
    }

private:
    std::vector<LqVector3f> m_normals;
    Base::TElementAccessRead<Base::CSCElementDefinitionNormal> m_normalAccess;
};

}  // namespace DataLayerTest
