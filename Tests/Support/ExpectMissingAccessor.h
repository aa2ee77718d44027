#pragma once

#include <gtest/gtest.h>

#include "Base/Support/VekoException.h"

namespace TestSupport
{

/// Expects that \p body asks a collection for an accessor that it has not: the exception of
/// Base::ISurfelCollection::GetReadAccessor(), word for word.
template <typename Body>
void ExpectMissingAccessor(const Body& body)
{
    try
    {
        body();
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.GetFilename(), "Base/Interfaces/ISurfelCollection");
        EXPECT_EQ(exception.GetCodeLine(), 96U);
        EXPECT_STREQ(exception.GetFunctionName(), "Base::ISurfelCollection::GetReadAccessor");
        EXPECT_EQ(exception.GetMessageText(),
                  L"Nicht verfuegbare ElementAccessor-Definition angefordert.");
    }
}

}  // namespace TestSupport
