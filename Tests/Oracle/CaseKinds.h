#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Tests/Oracle/CCaseRandom.h"
#include "Tests/Oracle/CNamedArrays.h"

namespace Oracle
{

/// One of the things that are compared: how its cases are made, and what this library answers.
struct SCaseKind
{
    const char* name;
    /// Adds the arrays of such cases to a file that has none yet.
    void (*declare)(CNamedArrays& cases);
    /// Appends one case.
    void (*generate)(CCaseRandom& random, CNamedArrays& cases);
    /// Answers all cases of a file.
    void (*answer)(const CNamedArrays& cases, CNamedArrays& answers);
};

/// All kinds; their order is part of what a seed means.
[[nodiscard]] std::span<const SCaseKind> GetCaseKinds();

void DeclareArithmeticCases(CNamedArrays& cases);
void GenerateArithmeticCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerArithmeticCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareBoxCases(CNamedArrays& cases);
void GenerateBoxCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerBoxCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareNormalCases(CNamedArrays& cases);
void GenerateNormalCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerNormalCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareFreezeCases(CNamedArrays& cases);
void GenerateFreezeCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerFreezeCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareNearestCases(CNamedArrays& cases);
void GenerateNearestCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerNearestCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareCutCases(CNamedArrays& cases);
void GenerateCutCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerCutCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareCutOperationCases(CNamedArrays& cases);
void GenerateCutOperationCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerCutOperationCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareSmallComponentCases(CNamedArrays& cases);
void GenerateSmallComponentCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerSmallComponentCases(const CNamedArrays& cases, CNamedArrays& answers);

void DeclareCachedModelCases(CNamedArrays& cases);
void GenerateCachedModelCase(CCaseRandom& random, CNamedArrays& cases);
void AnswerCachedModelCases(const CNamedArrays& cases, CNamedArrays& answers);

}  // namespace Oracle
