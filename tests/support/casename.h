#ifndef CASENAME_H
#define CASENAME_H

#include <gtest/gtest.h>
#include <string>

/** Names a case of a parametrised test after the parameter's member "name". */
struct CaseName
{
    template <typename Parameter>
    std::string operator()(const testing::TestParamInfo<Parameter> &testCase) const
    {
        return testCase.param.name;
    }
};

#endif
