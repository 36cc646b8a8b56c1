/* Stands in for ssh: ends at once, so that what is left is the cost of starting it. */
int main(void) { return 0; }
