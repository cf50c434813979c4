#ifndef OLHS_OLHS_H
#define OLHS_OLHS_H

// Everything a host program needs: the entry point and every exported class.
#include "olhs/CRand.h"
#include "olhs/CombinatorialAnalysis.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/PHIpCriterion.h"
#include "olhs/Permutation.h"
#include "olhs/Report.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "olhs/classic.h"
#include "olhs/errors.h"
#include "olhs/existing.h"
#include "olhs/metrics.h"
#include "olhs/optimize.h"

#endif
