#include "General/ClientJobDataEnvironment.h"

IClientJobDataEnvironment::~IClientJobDataEnvironment() = default;
