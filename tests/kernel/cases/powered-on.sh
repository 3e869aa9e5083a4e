# shows: six hosts on two bridges are powered on together: each gets what it declares, all that is shared, and no more

bridge b1
bridge b2
link b1 b2
for n in 1 2 3; do
    host "h$n" b1
    host "k$n" b2
done
daemon b1
daemon b2
for n in 1 2 3; do
    joins "h$n" "10,2$n" mvrp &
    joins "k$n" "10,3$n" mvrp &
done
right() {
    exactly b1 b2 1,10,31-33 && exactly b2 b1 1,10,21-23 &&
        exactly b1 h1 1,10,21 && exactly b1 h2 1,10,22 && exactly b1 h3 1,10,23 &&
        exactly b2 k1 1,10,31 && exactly b2 k2 1,10,32 && exactly b2 k3 1,10,33
}
expect 10 right
say 'two leave-alls later, too'
steady 5 right
