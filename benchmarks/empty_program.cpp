/// \file
/// A program that does nothing.
int main()
{
    return 0;
}
