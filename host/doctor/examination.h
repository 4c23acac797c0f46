/* Runs checks and collects what is wrong. */
#ifndef NASDOCTOR_EXAMINATION_H
#define NASDOCTOR_EXAMINATION_H

#include <string>
#include <vector>

namespace nasdoctor
{

enum class Verdict { right, wrong, not_checked };

struct Finding {
    std::string operations, contract;
    Verdict verdict = Verdict::right;
    std::string remark; /* what is wrong, or why nothing was checked */
};

/* Every operation that is missing, and every check. Without a private world some are not run. */
std::vector<Finding> examine(bool in_private_world);

} // namespace nasdoctor

#endif
